// Numbers in as few bytes as they need, for what is kept in large amounts.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace ptp_fleet {

inline void put_number(std::vector<std::uint8_t> &to, std::uint64_t value) {
    for (; value >= 0x80; value >>= 7) {
        to.push_back(static_cast<std::uint8_t>(value | 0x80));
    }
    to.push_back(static_cast<std::uint8_t>(value));
}

/** Small ones of either sign are short. */
inline void put_difference(std::vector<std::uint8_t> &to, std::int64_t value) {
    put_number(to, (static_cast<std::uint64_t>(value) << 1) ^ static_cast<std::uint64_t>(value >> 63));
}

inline void put_bytes(std::vector<std::uint8_t> &to, std::span<const std::uint8_t> bytes) {
    put_number(to, bytes.size());
    to.insert(to.end(), bytes.begin(), bytes.end());
}

inline void put_text(std::vector<std::uint8_t> &to, std::string_view text) {
    put_bytes(to, {reinterpret_cast<const std::uint8_t *>(text.data()), text.size()});
}

/** Throws std::runtime_error where the bytes end too early. */
class coded_input {
  public:
    explicit coded_input(std::span<const std::uint8_t> bytes) : left_(bytes) {}

    bool is_at_end() const { return left_.empty(); }
    std::uint64_t number() {
        std::uint64_t value = 0;
        for (unsigned shift = 0; shift < 64; shift += 7) {
            const std::uint8_t octet = take(1)[0];
            value |= static_cast<std::uint64_t>(octet & 0x7F) << shift;
            if (octet < 0x80) {
                return value;
            }
        }
        throw std::runtime_error("damaged");
    }
    std::int64_t difference() {
        const std::uint64_t value = number();
        return static_cast<std::int64_t>(value >> 1) ^ -static_cast<std::int64_t>(value & 1);
    }
    std::span<const std::uint8_t> bytes() { return take(number()); }
    std::string_view text() {
        const auto all = bytes();
        return {reinterpret_cast<const char *>(all.data()), all.size()};
    }

  private:
    std::span<const std::uint8_t> take(std::uint64_t size) {
        if (size > left_.size()) {
            throw std::runtime_error("damaged");
        }
        const auto taken = left_.first(size);
        left_ = left_.subspan(size);
        return taken;
    }

    std::span<const std::uint8_t> left_;
};

}  // namespace ptp_fleet
