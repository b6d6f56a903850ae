// What the generated codecs of the peers use: octets as the numbers that their schemas carry them in, and parts of messages.
#pragma once

#include <array>
#include <cstring>

#include "velalib.h"

namespace bench {

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

/** What an accessor gives, be it a pointer or a reference. */
template <class Part>
inline const Part &at(const Part &part) {
    return part;
}
template <class Part>
inline const Part &at(const Part *part) {
    return *part;
}

}  // namespace bench
