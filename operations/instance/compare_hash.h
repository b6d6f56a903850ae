// Order and hash of structures: field values only, never headers or state flags, whatever the variant.
#pragma once

#include <algorithm>

#include "operations/core/simd.h"
#include "operations/core/unroll.h"
#include "operations/instance/enumeration.h"
#include "operations/wire/layout.h"

namespace ptp_cfg {

template <const structure_descriptor &D>
PTP_CFG_INLINE int32 compare_instances(const u_int8 *a, const u_int8 *b);

template <const structure_descriptor &D, u_int32 I>
PTP_CFG_INLINE int32 compare_field(const u_int8 *a, const u_int8 *b) {
    constexpr const field_descriptor &field = D.fields[I];
    const u_int8 *x = a + field.offset;
    const u_int8 *y = b + field.offset;
    if constexpr (field.kind == field_kind::enumeration) {
        return enumeration_compare(x, y);
    } else if constexpr (field.kind == field_kind::u_int8 && field.is_array) {
        return memcmp(x, y, field.capacity);
    } else if constexpr (field.kind == field_kind::var_string) {
        return var_string_compare_counted(as<var_string>(x), a[field.companion_offset], as<var_string>(y),
                                          b[field.companion_offset]);
    } else {
        int32 order = 0;
        for (u_int32 element = 0; element < field.capacity && order == 0; ++element) {
            if constexpr (field.kind == field_kind::structure) {
                order = compare_instances<*field.structure>(x, y);
            } else {
                using P = primitive_traits<field.kind>;
                order = P::compare(as<typename P::type>(x), as<typename P::type>(y));
            }
            x += field.stride;
            y += field.stride;
        }
        return order;
    }
}

template <const structure_descriptor &D>
PTP_CFG_INLINE int32 compare_instances(const u_int8 *a, const u_int8 *b) {
    // The first field that differs decides; its result is passed on as it is.
    return first_non_zero<D>([&]<u_int32 I>() __attribute__((always_inline)) { return compare_field<D, I>(a, b); });
}

/** End of the last field in memory. */
constexpr u_int32 fields_end(const structure_descriptor &type) {
    const field_descriptor &last = type.fields[type.field_count - 1];
    return last.offset + u_int32{last.capacity} * last.stride;
}

/** The same out of line, for what looks at the bytes first. */
template <const structure_descriptor &D>
[[gnu::noinline]] int32 compare_by_field(const u_int8 *a, const u_int8 *b) {
    return compare_instances<D>(a, b);
}

/** Instances of fewer bytes are compared by field at once. */
constexpr u_int32 direct_comparison_size = 128;

#ifdef PTP_CFG_HAS_AVX2
/** Instances of more bytes are left to memcmp(). */
constexpr u_int32 simd_comparison_size = 512;

template <u_int32 offset>
PTP_CFG_AVX2 inline __m256i difference_at(const u_int8 *a, const u_int8 *b) {
    return _mm256_xor_si256(load_simd(a + offset), load_simd(b + offset));
}

/** Compares at `first`, then by aligned chunks up to the last one, which ends at `end`. */
template <u_int32 first, u_int32 end>
PTP_CFG_AVX2 inline bool same_bytes_simd(const u_int8 *a, const u_int8 *b) {
    constexpr u_int32 start = (first / simd_size + 1) * simd_size;
    constexpr u_int32 chunks = (end - start + simd_size - 1) / simd_size;
    const auto differences = [&]<size_t... C>(std::index_sequence<C...>) PTP_CFG_AVX2 {
        return (difference_at<first>(a, b) | ... |
                difference_at<std::min<u_int32>(start + C * simd_size, end - simd_size)>(a, b));
    };
    const __m256i differs = differences(std::make_index_sequence<chunks>{});
    return _mm256_testz_si256(differs, differs) != 0;
}

template <const structure_descriptor &D>
[[gnu::noinline, gnu::target("avx2")]] int32 compare_simd(const u_int8 *a, const u_int8 *b) {
    return same_bytes_simd<D.fields[0].offset, fields_end(D)>(a, b) ? 0 : compare_by_field<D>(a, b);
}
#endif

/** The same bytes are equal fields. Other bytes may be: headers and what lies between fields do not count. */
template <const structure_descriptor &D>
PTP_CFG_INLINE int32 compare_directly(const u_int8 *a, const u_int8 *b) {
#ifdef PTP_CFG_HAS_AVX2
    if constexpr (D.size <= simd_comparison_size) {
        if (has_avx2) {
            return compare_simd<D>(a, b);
        }
    }
#endif
    constexpr u_int32 start = D.fields[0].offset;
    return memcmp(a + start, b + start, fields_end(D) - start) == 0 ? 0 : compare_by_field<D>(a, b);
}

template <const structure_descriptor &D>
PTP_CFG_INLINE int32 structure_compare(const void *first, const void *second) {
    if (first == nullptr || second == nullptr) {
        return first == second ? 0 : (first == nullptr ? -1 : 1);
    }
    const u_int8 *a = static_cast<const u_int8 *>(first);
    const u_int8 *b = static_cast<const u_int8 *>(second);
    // Another runtime has an order of its own.
    if constexpr (has_own_runtime && !has_text(D) && D.size >= direct_comparison_size) {
        return compare_directly<D>(a, b);
    } else {
        return compare_instances<D>(a, b);
    }
}

template <const structure_descriptor &D>
PTP_CFG_INLINE u_int32 hash_instance(const u_int8 *instance, u_int32 seed) {
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        const u_int8 *value = instance + field.offset;
        if constexpr (field.kind == field_kind::enumeration) {
            seed = enumeration_hash(value, seed);
        } else if constexpr (field.is_array && field.kind == field_kind::u_int8) {
            seed = VELA_CALL(SuperFastHash)(value, field.capacity, seed);
        } else if constexpr (field.kind == field_kind::var_string) {
            seed = var_string_hash(as<var_string>(value), instance[field.companion_offset], seed);
        } else {
            for (u_int32 element = 0; element < field.capacity; ++element, value += field.stride) {
                if constexpr (field.kind == field_kind::structure) {
                    seed = hash_instance<*field.structure>(value, seed);
                } else {
                    using P = primitive_traits<field.kind>;
                    seed = P::hash(as<typename P::type>(value), seed);
                }
            }
        }
    });
    return seed;
}

template <const structure_descriptor &D>
u_int32 structure_hash(const void *instance, u_int32 seed) {
    return instance == nullptr ? seed : hash_instance<D>(static_cast<const u_int8 *>(instance), seed);
}

}  // namespace ptp_cfg
