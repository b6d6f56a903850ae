// Writes the C++ class of a message.
#include "emit_cpp.h"
#include "naming_cpp.h"
#include "text.h"

namespace codegen {
namespace {

constexpr std::string_view structure_payload = R"(
    /** The payload, lent; of nothing when there is none. */
    ::ptp::{name}_view {name}() & noexcept { return {handle_, payload_of_{name}()}; }
    ::ptp::{name}_const_view {name}() const & noexcept { return {handle_, payload_of_{name}()}; }
    ::ptp::{name}_view {name}() && = delete;
    ::ptp::{name}_const_view {name}() const && = delete;
    /** Takes the payload out of the message. */
    template <class Payload = ::ptp::{name}>
    Payload take_{name}() noexcept {
        return {handle_, static_cast<::{payload} *>(payload(::ptp::calls::{type}_{payload}_get_detach))};
    }
    /** Gives the message another payload, in place of its own. */
    template <class Payload = ::ptp::{name}>
    ::ptp::status set_{name}(Payload &&value) noexcept {
        static_assert(::std::is_same<Payload, ::ptp::{name}>::value, "give a payload that the message may keep");
        return give(value, ::ptp::calls::{type}_{payload}_free_and_set);
    }
)";

constexpr std::string_view primitive_payload = R"(
    {value} {name}() const noexcept { return payload_value(::ptp::calls::{type}_{payload}_get_value){end_from}; }
    ::ptp::status set_{name}({value} value) noexcept {
        return give_value<{storage}>(value, ::ptp::calls::{type}_{payload}_set_value);
    }
)";

constexpr std::string_view structure_calls = R"(PTP_CFG_CPP_CALL(get_call, {type}_{payload}_get);
PTP_CFG_CPP_CALL(get_call, {type}_{payload}_get_detach);
PTP_CFG_CPP_CALL(give_call, {type}_{payload}_free_and_set);
)";
constexpr std::string_view primitive_calls = R"(PTP_CFG_CPP_CALL(get_value_call<{storage}>, {type}_{payload}_get_value);
PTP_CFG_CPP_CALL(set_value_call<{storage}>, {type}_{payload}_set_value);
)";

constexpr std::string_view payload_function = R"(    ::{payload} *payload_of_{name}() const noexcept {
        return static_cast<::{payload} *>(payload(::ptp::calls::{type}_{payload}_get));
    }
)";

constexpr std::string_view message_text = R"(PTP_CFG_CPP_MESSAGE({type}, {message})
namespace ptp {

namespace calls {
{declarations}}  // namespace calls

{doc}class {name} : public ::ptp::owner<::ptp::detail::message_view<::{type}>> {
  public:
    {name}(vela_handle *handle, ::{type} *message) noexcept : owner(handle, message) {}
    template <class Owner = {name}>
    static ::ptp::result<Owner> create(vela_handle *handle) noexcept {
        return ::ptp::create<Owner>(handle);
    }
{payloads}
    /** Calls visitor(name, value) for each payload. */
    template <class Visitor>
    void visit(Visitor &&visitor) const {
{visit}    }
{private}};

}  // namespace ptp

)";

}  // namespace

std::string cpp_message(const message &type) {
    placeholders values = {{"type", type.type_name()},
                           {"message", type.name},
                           {"name", cpp_name(type.type_name())},
                           {"doc", comment(type.doc)},
                           {"private", ""}};
    for (const payload &row : type.payloads) {
        const bool is_boolean = row.primitive != nullptr && row.primitive->what == primitive_class::boolean;
        const placeholders each = {{"type", type.type_name()},
                                   {"payload", row.type_name},
                                   {"name", cpp_name(row.type_name)},
                                   {"value", is_boolean ? "bool" : row.type_name},
                                   {"storage", is_boolean ? "u_int32" : row.type_name},
                                   {"end_from", is_boolean ? " != 0" : ""}};
        const bool is_structure = row.structure != nullptr;
        values["payloads"] += fill(is_structure ? structure_payload : primitive_payload, each);
        values["declarations"] += fill(is_structure ? structure_calls : primitive_calls, each);
        values["private"] += is_structure ? fill(payload_function, each) : "";
        values["visit"] += fill("        visitor(\"{payload}\", {name}());\n", each);
    }
    if (!values["private"].empty()) {
        values["private"] = "\n  private:\n" + values["private"];
    }
    return fill(message_text, values);
}

}  // namespace codegen
