// Octets as the numbers that the peers' schemas carry them in.
#pragma once

#include <array>
#include <cstring>

#include "velalib.h"

namespace bench::peer {

/** Up to eight octets, from `first` on, as a number of this machine. */
template <size_t size>
inline u_int64 packed(const std::array<u_int8, size> &octets, size_t first = 0) {
    u_int64 number = 0;
    std::memcpy(&number, octets.data() + first, size - first < 8 ? size - first : 8);
    return number;
}

template <size_t size>
inline void unpack(u_int64 number, std::array<u_int8, size> &octets, size_t first = 0) {
    std::memcpy(octets.data() + first, &number, size - first < 8 ? size - first : 8);
}

}  // namespace bench::peer
