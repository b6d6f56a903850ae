// Ways from a source to a value, for the rows: each is a function without state that a row can name.
#pragma once

#include <type_traits>

#include "agent/observe/report_row.h"

namespace ptp_agent {

template <typename Member>
Value to_value(const Member &member) {
    if constexpr (std::is_same_v<Member, ClockIdentity> || std::is_same_v<Member, MacAddress>) {
        return Value(member);
    } else {
        return Value(static_cast<std::int64_t>(member));
    }
}

/** A member of a member of ... */
template <auto First, auto... Rest, typename Structure>
decltype(auto) member_of(const Structure &structure) {
    if constexpr (sizeof...(Rest) == 0) {
        return (structure.*First);
    } else {
        return member_of<Rest...>(structure.*First);
    }
}

/** From a part of the observation that may be absent: <&Observation::default_ds, &DefaultDataSet::priority1>. */
template <auto Part, auto... Members>
Value observed(const ReportSource &source) {
    const auto &part = source.now->*Part;
    return part ? to_value(member_of<Members...>(*part)) : Value();
}

/** The same of the port. */
template <auto Part, auto... Members>
Value observed_of_port(const ReportSource &source) {
    if (source.port == nullptr || !(source.port->*Part)) {
        return {};
    }
    return to_value(member_of<Members...>(*(source.port->*Part)));
}

/** The same of the foreign master. */
template <auto... Members>
Value heard(const ReportSource &source) {
    return source.foreign == nullptr ? Value() : to_value(member_of<Members...>(*source.foreign));
}

/** Another value through a table of enumerations.h. */
template <Value (*Table)(std::int64_t), Value (*Get)(const ReportSource &)>
Value mapped(const ReportSource &source) {
    const Value value = Get(source);
    const auto *number = std::get_if<std::int64_t>(&value);
    return number == nullptr ? Value() : Table(*number);
}

/** Sixteen bits of PTP in a field that is signed. */
template <Value (*Get)(const ReportSource &)>
Value as_int16(const ReportSource &source) {
    const Value value = Get(source);
    const auto *number = std::get_if<std::int64_t>(&value);
    return number == nullptr ? Value() : Value(std::int64_t{static_cast<std::int16_t>(*number)});
}

inline Value optional_value(const std::optional<std::int64_t> &number) { return number ? Value(*number) : Value(); }

/** Nobody says it. */
inline Value absent(const ReportSource &) { return {}; }

}  // namespace ptp_agent
