// Checksums of bytes, and of any part of a file from sums taken once.
#include "crc32.h"

#include <array>

#include "base/file_reading.h"

namespace vela::recorder {
namespace {

// A byte's lowest bit is the highest power: the polynomial x^0 is 0x80000000.
constexpr u_int32 polynomial = 0xEDB88320u, one = 0x80000000u, byte_power = 0x00800000u;

constexpr std::array<u_int32, 256> crc_table = [] {
    std::array<u_int32, 256> table{};
    for (u_int32 byte = 0; byte < table.size(); ++byte) {
        u_int32 remainder = byte;
        for (int bit = 0; bit < 8; ++bit) {
            remainder = remainder >> 1 ^ ((remainder & 1) != 0 ? polynomial : 0);
        }
        table[byte] = remainder;
    }
    return table;
}();

u_int32 sum_of(std::span<const u_int8> bytes, u_int32 sum) {
    for (const u_int8 byte : bytes) {
        sum = sum >> 8 ^ crc_table[(sum ^ byte) & 0xFF];
    }
    return sum;
}

/** The product of two polynomials, modulo that of the checksum. */
u_int32 product(u_int32 a, u_int32 b) {
    u_int32 result = 0;
    for (; a != 0; a <<= 1) {
        result ^= (a & one) != 0 ? b : 0;
        b = b >> 1 ^ ((b & 1) != 0 ? polynomial : 0);
    }
    return result;
}

/** What becomes of a sum when `count` zero bytes follow. */
u_int32 moved_on(u_int32 sum, u_int64 count) {
    u_int32 factor = one;
    for (u_int32 power = byte_power; count != 0; count >>= 1) {
        factor = (count & 1) != 0 ? product(power, factor) : factor;
        power = product(power, power);
    }
    return product(factor, sum);
}

}  // namespace

u_int32 crc32(std::span<const u_int8> bytes) { return ~sum_of(bytes, ~0u); }

bool file_sums::match(u_int64 begin, u_int64 end, u_int32 checksum) {
    u_int32 before = 0, whole = 0;
    return sum_up_to(begin, before) && sum_up_to(end, whole) && ~(whole ^ moved_on(~before, end - begin)) == checksum;
}

/** The sum, begun with 0, of all from the start. */
bool file_sums::sum_up_to(u_int64 end, u_int32 &sum) {
    const u_int64 mark = (end - start_) / step;
    while (marks_.size() <= mark) {
        u_int32 next = marks_.back();
        if (!add(start_ + (marks_.size() - 1) * step, step, next)) {
            return false;
        }
        marks_.push_back(next);
    }
    sum = marks_[mark];
    return add(start_ + mark * step, (end - start_) % step, sum);
}

bool file_sums::add(u_int64 from, size_t count, u_int32 &sum) {
    u_int8 bytes[step];
    if (!base::read_all_at(file_, bytes, count, from, error_)) {
        return false;
    }
    sum = sum_of({bytes, count}, sum);
    return true;
}

}  // namespace vela::recorder
