// A file that is looked at through a window, so that its size never decides about memory.
#pragma once

#include <vector>

#include "record_format.h"

namespace vela::recorder {

class file_window {
  public:
    /** @param file  stays the caller's; bytes at and behind `size` are not looked at */
    file_window(int file, u_int64 size) : file_(file), size_(size) {}

    u_int64 size() const { return size_; }
    /** errno of the last read that failed; 0: none did. */
    int error() const { return error_; }

    /**
     * The bytes at an offset, valid until the next call. Fewer than `count` where the file ends, or cannot be read;
     * the caller has compared `count` with what is left, so memory is bounded by the file.
     */
    octets at(u_int64 offset, size_t count);

  private:
    void fill(u_int64 offset, size_t count);

    int file_;
    u_int64 size_;
    u_int64 start_ = 0;
    std::vector<u_int8> bytes_;
    int error_ = 0;
};

}  // namespace vela::recorder
