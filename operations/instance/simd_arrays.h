// New arrays of structures, written 32 bytes at a time on processors with AVX2.
#pragma once

#include <numeric>

#include "operations/core/simd.h"
#include "operations/wire/unrolled/simd_map.h"

namespace ptp_cfg {

/** A new element of an array. */
template <const structure_descriptor &D>
inline constexpr std::array<image_word, memory_map<D>::words> element_image = memory_of<D>.image;

#ifdef PTP_CFG_HAS_AVX2
/** What repeats itself in an array from byte `start` of an element on, in whole chunks. */
template <const structure_descriptor &E, u_int32 start>
inline constexpr auto repeating_image = [] {
    std::array<image_word, std::lcm(E.size, simd_size) / word_size> image{};
    for (u_int32 word = 0; word < image.size(); ++word) {
        image[word] = element_image<E>[(word + start / word_size) % element_image<E>.size()];
    }
    return image;
}();

/**
 * Writes new elements.
 * @tparam offset  where the array begins in an instance, whose memory begins at a multiple of 32
 * @tparam total   bytes of the array
 */
template <const structure_descriptor &E, u_int32 offset, u_int32 total>
[[gnu::noinline, gnu::target("avx2")]] void make_elements_simd(u_int8 *elements) {
    constexpr u_int32 start = (simd_size - offset % simd_size) % simd_size;
    static_assert(start % word_size == 0 && start <= E.size);
    constexpr auto &image = repeating_image<E, start>;
    constexpr u_int32 period = image.size() * word_size;
    constexpr u_int32 end = start + (total - start) / simd_size * simd_size;
    const auto *bytes = reinterpret_cast<const u_int8 *>(image.data());
    memcpy(elements, element_image<E>.data(), start);
    u_int32 done = start;
    for (; done + period <= end; done += period) {
#pragma GCC unroll 16
        for (u_int32 chunk = 0; chunk < period; chunk += simd_size) {
            store_simd(elements + done + chunk, load_simd(bytes + chunk));
        }
    }
    for (u_int32 chunk = 0; done < end; chunk += simd_size, done += simd_size) {
        store_simd(elements + done, load_simd(bytes + chunk));
    }
    memcpy(elements + end, bytes + (end - start) % period, total - end);
}
#endif

}  // namespace ptp_cfg
