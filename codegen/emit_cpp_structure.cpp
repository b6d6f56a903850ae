// Writes the C++ classes of a structure. What a field has follows from its kind, of which each has a row below.
#include <algorithm>

#include "emit_cpp.h"
#include "layout.h"
#include "naming.h"
#include "naming_cpp.h"
#include "placeholders.h"
#include "text.h"

namespace codegen {
namespace {

/** What the classes have of a field: for reading in the const view, for setting in the view, lent parts in the owner. */
struct field_text {
    std::string_view read;
    std::string_view set;
    std::string_view owner;
    std::string_view visit;
    std::vector<std::pair<std::string_view, std::string_view>> calls;  // of C, by what stands behind the field's name
};

constexpr std::string_view read_number =
    R"(    {value} {name}() const noexcept { return {from_storage}load_{storage}({value_offset}u){end_from}; }
)";
constexpr std::string_view read_number_since = R"(    ::ptp::result<{value}> {name}() const noexcept {
        if (!has({since})) {
            return lacking();
        }
        return {from_storage}load_{storage}({value_offset}u){end_from};
    }
)";
constexpr std::string_view set_number = R"(    ::ptp::status set_{field}({value} value) noexcept {
        return put_{storage}({since}, {offset}u, value, ::ptp::calls::{type}_{field}_set_value);
    }
)";
constexpr std::string_view set_enumeration = R"(    ::ptp::status set_{field}({value} value) noexcept {
        return put_enumeration({since}, {offset}u, {latest}, {end}u, static_cast<u_int32>(value),
                               ::ptp::calls::{type}_{field}_set_value);
    }
)";
constexpr std::string_view read_opaque =
    R"(    ::{storage} {name}() const noexcept { return load<::{storage}>({offset}u); }
)";
constexpr std::string_view read_opaque_since = R"(    ::ptp::result<::{storage}> {name}() const noexcept {
        if (!has({since})) {
            return lacking();
        }
        return load<::{storage}>({offset}u);
    }
)";
constexpr std::string_view set_opaque = R"(    ::ptp::status set_{field}(const ::{storage} &value) noexcept {
        return put_opaque({since}, {offset}u, value, ::ptp::calls::{type}_{field}_set);
    }
)";
constexpr std::string_view read_text =
    R"(    ::std::string_view {name}() const noexcept { return text({since}, {offset}u, {companion_offset}u); }
)";
constexpr std::string_view set_text = R"(    /** At most 255 characters, else VELA_ENOSPC. */
    ::ptp::status set_{field}(::std::string_view value) noexcept {
        return put_text(value, ::ptp::calls::{type}_{field}_set);
    }
)";
constexpr std::string_view owner_text =
    R"(    ::std::string_view {name}() const & noexcept { return {view}_const_view::{name}(); }
    ::std::string_view {name}() const && = delete;
)";
constexpr std::string_view read_structure = R"(    ::ptp::{element}_const_view {name}() const noexcept {
        return {handle_, static_cast<::{storage} *>(part({since}, {offset}u))};
    }
)";
constexpr std::string_view set_structure = R"(    using {view}_const_view::{name};
    ::ptp::{element}_view {name}() noexcept { return {handle_, static_cast<::{storage} *>(part({since}, {offset}u))}; }
    ::ptp::status set_{field}(const ::ptp::{element}_const_view &value) noexcept {
        return put_instance(value.c_instance(), ::ptp::calls::{type}_{field}_set);
    }
)";
constexpr std::string_view owner_structure =
    R"(    ::ptp::{element}_view {name}() & noexcept { return {view}_view::{name}(); }
    ::ptp::{element}_const_view {name}() const & noexcept { return {view}_const_view::{name}(); }
    ::ptp::{element}_view {name}() && = delete;
    ::ptp::{element}_const_view {name}() const && = delete;
)";
constexpr std::string_view read_numbers = R"(    ::ptp::span<const {storage}> {name}() const noexcept {
        return {static_cast<const {storage} *>(part({since}, {offset}u)), has({since}) ? {capacity}u : 0u};
    }
)";
constexpr std::string_view set_numbers = R"(    /** The first of the {capacity} elements; more are VELA_EINVAL. */
    ::ptp::status set_{field}(::ptp::span<const {storage}> values) noexcept {
        return put_elements({capacity}u, values, ::ptp::calls::{type}_{field}_set_mem);
    }
    ::ptp::status set_{field}(u_int32 index, {storage} value) noexcept {
        return put_element_value(index, value, ::ptp::calls::{type}_{field}_set_value);
    }
)";
constexpr std::string_view owner_numbers =
    R"(    ::ptp::span<const {storage}> {name}() const & noexcept { return {view}_const_view::{name}(); }
    ::ptp::span<const {storage}> {name}() const && = delete;
)";
constexpr std::string_view read_structures =
    R"(    ::ptp::array_view<::ptp::{element}_const_view> {name}() const noexcept {
        return {handle_, part({since}, {offset}u), {capacity}u, {stride}u};
    }
)";
constexpr std::string_view set_structures = R"(    using {view}_const_view::{name};
    ::ptp::array_view<::ptp::{element}_view> {name}() noexcept {
        return {handle_, part({since}, {offset}u), {capacity}u, {stride}u};
    }
    /** VELA_ENOENT for an index of {capacity} or more. */
    ::ptp::status set_{field}(u_int32 index, const ::ptp::{element}_const_view &value) noexcept {
        return put_element({capacity}u, index, value.c_instance(), ::ptp::calls::{type}_{field}_set);
    }
)";
constexpr std::string_view owner_structures =
    R"(    ::ptp::array_view<::ptp::{element}_view> {name}() & noexcept { return {view}_view::{name}(); }
    ::ptp::array_view<::ptp::{element}_const_view> {name}() const & noexcept { return {view}_const_view::{name}(); }
    ::ptp::array_view<::ptp::{element}_view> {name}() && = delete;
    ::ptp::array_view<::ptp::{element}_const_view> {name}() const && = delete;
)";

constexpr std::string_view visit_field = "        visitor(\"{field}\", {name}());\n";
constexpr std::string_view visit_since = "        ::ptp::detail::visit_present(visitor, \"{field}\", {name}());\n";

const field_text numbers = {read_number, set_number, "", visit_field, {{"set_value", "set_value_call<{storage}>"}}};
const field_text numbers_since = {read_number_since, set_number, "", visit_since, numbers.calls};
const field_text enumerations = {read_number, set_enumeration, "", visit_field, numbers.calls};
const field_text enumerations_since = {read_number_since, set_enumeration, "", visit_since, numbers.calls};
const field_text opaques = {read_opaque, set_opaque, "", visit_field, {{"set", "set_call"}}};
const field_text opaques_since = {read_opaque_since, set_opaque, "", visit_since, opaques.calls};
const field_text texts = {read_text, set_text, owner_text, visit_field, {{"set", "set_text_call"}}};
const field_text structures = {read_structure, set_structure, owner_structure, visit_field, opaques.calls};
const field_text number_arrays = {read_numbers,
                                  set_numbers,
                                  owner_numbers,
                                  visit_field,
                                  {{"set_mem", "set_bytes_call"}, {"set_value", "set_element_value_call<{storage}>"}}};
const field_text structure_arrays = {
    read_structures, set_structures, owner_structures, visit_field, {{"set", "set_element_call"}}};

const field_text &text_of(const field &row) {
    if (row.category == field_category::text) {
        return texts;
    }
    if (row.category == field_category::structure) {
        return row.is_array() ? structure_arrays : structures;
    }
    if (row.is_array()) {
        return number_arrays;
    }
    if (row.category == field_category::enumeration) {
        return row.since == 0 ? enumerations : enumerations_since;
    }
    if (row.is_single_value()) {
        return row.since == 0 ? numbers : numbers_since;
    }
    return row.since == 0 ? opaques : opaques_since;
}

/** How a value is called in C++, what it is stored as, and how it becomes the former. */
void add_conversions(const field &row, placeholders &values) {
    values["value"] = values["storage"] = storage_type(row);
    values["value_offset"] = values["offset"];
    values["from_storage"] = values["end_from"] = "";
    if (row.enumeration != nullptr) {
        values["value"] = "::ptp::" + cpp_name(row.enumeration->name);
        values["storage"] = "u_int32";
        values["value_offset"] = std::to_string(row.offset + enumeration_value_offset);
        values["from_storage"] = "static_cast<" + values["value"] + ">(";
        values["end_from"] = ")";
        values["latest"] = std::to_string(row.enumeration->latest);
        values["end"] = std::to_string(row.enumeration->thresholds.back());
    } else if (row.primitive != nullptr && row.primitive->what == primitive_class::boolean) {
        values["value"] = "bool";
        values["storage"] = "u_int32";
        values["end_from"] = " != 0";
    }
}

placeholders field_values(const structure &type, const field &row) {
    placeholders values = {{"type", type.name},
                           {"view", cpp_name(type.name)},
                           {"name", cpp_field_name(type, row)},
                           {"field", row.name},
                           {"since", std::to_string(row.since)},
                           {"offset", std::to_string(row.offset)},
                           {"stride", std::to_string(row.stride)},
                           {"capacity", std::to_string(row.capacity.value_or(1))},
                           {"companion_offset", std::to_string(row.companion_offset)},
                           {"element", row.structure == nullptr ? "" : cpp_name(row.structure->name)}};
    add_conversions(row, values);
    return values;
}

constexpr std::string_view structure_text = R"(PTP_CFG_CPP_STRUCTURE({type})
namespace ptp {

namespace calls {
{declarations}}  // namespace calls

class {name};

/** {doc_line} To read. */
class {name}_const_view : public ::ptp::detail::typed_view<::{type}> {
  public:
    using const_view = {name}_const_view;
    {name}_const_view(vela_handle *handle, ::{type} *instance) noexcept : typed_view(handle, instance) {}
    {name}_const_view(const {name} &owner) noexcept;
    {name}_const_view({name} &&) = delete;
    {name}_const_view &operator=({name} &&) = delete;

{read}
    /** A deep copy, which the caller owns. */
    template <class Owner = {name}>
    ::ptp::result<Owner> clone() const noexcept {
        return ::ptp::clone_of<Owner>(*this);
    }
    /** Calls visitor(name, value) for each field that the instance has, in the order of the wire. */
    template <class Visitor>
    void visit(Visitor &&visitor) const {
{visit}    }
};

/** The same, to set as well. */
class {name}_view : public {name}_const_view {
  public:
    {name}_view(vela_handle *handle, ::{type} *instance) noexcept : {name}_const_view(handle, instance) {}
    {name}_view({name} &owner) noexcept;
    {name}_view(const {name} &) = delete;
    {name}_view({name} &&) = delete;
    {name}_view &operator=({name} &owner) noexcept;
    {name}_view &operator=(const {name} &) = delete;
    {name}_view &operator=({name} &&) = delete;

    using {name}_const_view::c_instance;
    ::{type} *c_instance() noexcept { return mutable_instance(); }
    /** Makes this instance the same as another. */
    ::ptp::status assign(const {name}_const_view &source) noexcept {
        return put_instance(source.c_instance(), ::ptp::calls::{type}_set);
    }

{set}};

/** Owns such an instance. */
class {name} : public ::ptp::owner<{name}_view> {
  public:
    {name}(vela_handle *handle, ::{type} *instance) noexcept : owner(handle, instance) {}
    template <class Owner = {name}>
    static ::ptp::result<Owner> create(vela_handle *handle) noexcept {
        return ::ptp::create<Owner>(handle);
    }
{lent}};

inline {name}_const_view::{name}_const_view(const {name} &owner) noexcept : typed_view(owner) {}
inline {name}_view::{name}_view({name} &owner) noexcept : {name}_const_view(owner) {}
inline {name}_view &{name}_view::operator=({name} &owner) noexcept { return *this = {name}_view(owner); }

}  // namespace ptp
template <>
struct std::hash<::ptp::{name}_const_view> : ::ptp::detail::record_hash {};
template <>
struct std::hash<::ptp::{name}_view> : ::ptp::detail::record_hash {};
template <>
struct std::hash<::ptp::{name}> : ::ptp::detail::record_hash {};

)";

}  // namespace

std::string cpp_structure(const structure &type) {
    placeholders values = {{"type", type.name}, {"name", cpp_name(type.name)}, {"doc_line", type.doc}};
    for (const field &row : type.fields) {
        if (row.is_companion()) {
            continue;
        }
        const field_text &text = text_of(row);
        const placeholders each = field_values(type, row);
        values["read"] += cpp_comment(documented(row)) + fill(text.read, each);
        values["set"] += fill(text.set, each);
        values["lent"] += fill(text.owner, each);
        values["visit"] += fill(text.visit, each);
        for (const auto &[name, call] : text.calls) {
            values["declarations"] += "PTP_CFG_CPP_CALL(" + fill(call, each) + ", " + type.name + "_" + row.name + "_" +
                                      std::string(name) + ");\n";
        }
    }
    if (!values["lent"].empty()) {
        values["lent"] = "\n" + values["lent"];
    }
    return fill(structure_text, values);
}

}  // namespace codegen
