// Numbers in network byte order.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace base {

template <typename number>
constexpr number load_big_endian(const uint8_t *bytes) {
    number value = 0;
    for (size_t i = 0; i < sizeof value; ++i) {
        value = static_cast<number>(value << 8 | bytes[i]);
    }
    return value;
}

template <typename number>
constexpr void store_big_endian(uint8_t *bytes, number value) {
    for (size_t i = sizeof value; i-- > 0; value = static_cast<number>(value >> 8)) {
        bytes[i] = static_cast<uint8_t>(value);
    }
}

}  // namespace base
