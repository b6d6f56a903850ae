// The one switch over kinds of fields: an algorithm says in a step each what it does with the kinds that differ to it.
#pragma once

#include <type_traits>

#include "operations/core/descriptors.h"

namespace ptp_cfg {

/** Stands for a text, which has no descriptor. */
struct text_kind {};

/** Runs the first step that takes an argument. */
template <class Argument, class Step, class... Others>
PTP_CFG_INLINE auto run_step(const Argument &argument, const Step &step, const Others &...others) {
    if constexpr (std::is_invocable_v<const Step &, const Argument &>) {
        return step(argument);
    } else {
        return run_step(argument, others...);
    }
}

/**
 * Runs the first step that takes what a field holds: its enumeration_descriptor, its structure_descriptor, text_kind,
 * or the primitive_traits of its kind, for which `auto` stands in the last one.
 */
template <class... Steps>
PTP_CFG_INLINE auto visit_kind(const field_descriptor &field, const Steps &...steps) {
    switch (field.kind) {
        case field_kind::enumeration:
            return run_step(*field.enumeration, steps...);
        case field_kind::structure:
            return run_step(*field.structure, steps...);
        case field_kind::var_string:
            return run_step(text_kind{}, steps...);
        default:
            return visit_primitive(
                field.kind, [&](auto traits) __attribute__((always_inline)) { return run_step(traits, steps...); });
    }
}

/** The same of a payload, a structure or a primitive. */
template <class... Steps>
PTP_CFG_INLINE auto visit_kind(const payload_descriptor &payload, const Steps &...steps) {
    if (payload.structure != nullptr) {
        return run_step(*payload.structure, steps...);
    }
    return visit_primitive(
        payload.kind, [&](auto traits) __attribute__((always_inline)) { return run_step(traits, steps...); });
}

}  // namespace ptp_cfg
