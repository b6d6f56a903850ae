// CRC-32 (IEEE 802.3) of bytes at hand, and of any part of a file.
#pragma once

#include <span>
#include <vector>

#include "velalib.h"

namespace vela::recorder {

u_int32 crc32(std::span<const u_int8> bytes);

/**
 * Checksums of parts of a file that lie anyhow, also one in another, at a cost that does not grow with their length: the
 * file is summed up once, with marks by the way, and a part's checksum computed from the sums at its two ends.
 */
class file_sums {
  public:
    /** @param file  stays the caller's; @param start  of what parts may lie in */
    file_sums(int file, u_int64 start) : file_(file), start_(start) {}

    /** Whether the bytes from `begin` to `end` have that checksum; false also when they cannot be read. */
    bool match(u_int64 begin, u_int64 end, u_int32 checksum);
    /** errno of the last read that failed; 0: none did. */
    int error() const { return error_; }

  private:
    static constexpr size_t step = 1024;

    bool sum_up_to(u_int64 end, u_int32 &sum);
    bool add(u_int64 from, size_t count, u_int32 &sum);

    int file_;
    u_int64 start_;
    std::vector<u_int32> marks_ = {0};  // the sum up to each step from the start
    int error_ = 0;
};

}  // namespace vela::recorder
