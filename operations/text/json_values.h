// How JSON writes primitives, by their kinds.
#pragma once

#include "operations/core/field_kind.h"
#include "velalib_inline.h"

namespace ptp_cfg {

/** The kind of value behind a primitive: how it is written and read as text. */
template <field_kind kind>
struct written_as;

#define PTP_CFG_WRITTEN_AS(type, kind_of_value, width, doc) \
    template <>                                             \
    struct written_as<field_kind::type> {                   \
        using value = kind_of_value;                        \
    };
VELA_EACH_PRIMITIVE(PTP_CFG_WRITTEN_AS)
#undef PTP_CFG_WRITTEN_AS

/** Calls f with the kind of value of a primitive. */
template <class F>
auto visit_written(field_kind kind, F &&f) {
    return visit_primitive(kind, [&](auto primitive) {
        using P = decltype(primitive);
        return f(primitive, typename written_as<P::kind>::value{});
    });
}

}  // namespace ptp_cfg
