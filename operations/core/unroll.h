// Walks the fields of a descriptor at compile time: a copy of the step for each.
#pragma once

#include <utility>

#include "operations/core/descriptors.h"

namespace ptp_cfg {

/** Runs step.operator()<index>() for each index below `count`. */
template <u_int32 count, class Step>
PTP_CFG_INLINE constexpr void unrolled_loop(Step &&step) {
    [&]<size_t... I>(std::index_sequence<I...>) __attribute__((always_inline)) {
        (step.template operator()<static_cast<u_int32>(I)>(), ...);
    }
    (std::make_index_sequence<count>{});
}

/** Runs step.operator()<index>() for every field. */
template <const structure_descriptor &D, class Step>
PTP_CFG_INLINE constexpr void for_each_field(Step &&step) {
    unrolled_loop<D.field_count>(step);
}

/** The same as long as steps answer 0; the last answer is the result. */
template <const structure_descriptor &D, class Step>
PTP_CFG_INLINE int32 first_non_zero(Step &&step) {
    int32 result = 0;
    [&]<size_t... I>(std::index_sequence<I...>) __attribute__((always_inline)) {
        (void)(((result = step.template operator()<static_cast<u_int32>(I)>()) == 0) && ...);
    }
    (std::make_index_sequence<D.field_count>{});
    return result;
}

}  // namespace ptp_cfg
