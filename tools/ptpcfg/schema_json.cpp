// JSON Schema, draft 2020-12.
#include <nlohmann/json.hpp>

#include "schemas.h"
#include "value_forms.h"

namespace ptpcfg {
namespace {

using json = nlohmann::ordered_json;

constexpr const char *ipv4_pattern = "^(\\d{1,3}\\.){3}\\d{1,3}$";

std::string anchored(const std::string &pattern) { return "^" + pattern + "$"; }

json any_of(json first, json second) { return {{"anyOf", json::array({std::move(first), std::move(second)})}}; }

json whole_number(u_int64 highest) { return {{"type", "integer"}, {"minimum", 0}, {"maximum", highest}}; }

/** Collects what types refer to. */
class definitions {
  public:
    json reference(const ptp_cfg_type *type) {
        const std::string name = describe(type).name;
        if (!defined_.contains(name)) {
            defined_[name] = json();  // its place in the order
            defined_[name] = describe(type).kind == PTP_CFG_ENUMERATION ? enumeration(type) : structure(type);
        }
        return {{"$ref", "#/$defs/" + name}};
    }
    json message(const ptp_cfg_type *type) {
        json payloads = json::object();
        json required = json::array();
        for (const ptp_cfg_field_description &payload : fields_of(type)) {
            payloads[payload.name] = any_of(value(payload), {{"type", "null"}});
            required.push_back(payload.name);
        }
        const ptp_cfg_type_description about = describe(type);
        const json content = {
            {"type", "object"}, {"properties", payloads}, {"required", required}, {"additionalProperties", false}};
        return {{"description", about.doc},
                {"type", "object"},
                {"patternProperties", {{"^(ptp_cfg:)?" + std::string(about.short_name) + "$", content}}},
                {"additionalProperties", false},
                {"minProperties", 1},
                {"maxProperties", 1}};
    }
    json any_message() {
        json all = json::array();
        for (u_int32 index = 0; index < ptp_cfg_type_count(); ++index) {
            if (describe(ptp_cfg_type_at(index)).kind == PTP_CFG_MESSAGE) {
                all.push_back(message(ptp_cfg_type_at(index)));
            }
        }
        return {{"oneOf", all}};
    }
    const json &all() const { return defined_; }

  private:
    static json enumeration(const ptp_cfg_type *type) {
        json names = json::array();
        std::string meanings;
        for (const enumeration_literal &literal : literals_of(type)) {
            names.push_back(literal.literal);
            meanings += "\n" + literal.literal + " (" + std::to_string(literal.number) + "): " + literal.doc;
        }
        const ptp_cfg_type_description about = describe(type);
        const json plain = any_of({{"enum", names}}, whole_number(UINT32_MAX));
        const json with_variant = {{"type", "object"},
                                   {"properties", {{"$variant", variant(about)}, {"value", plain}}},
                                   {"required", {"$variant", "value"}},
                                   {"additionalProperties", false}};
        json result = {{"description", about.doc + meanings}};
        result["anyOf"] = plain["anyOf"];
        result["anyOf"].push_back(with_variant);
        return result;
    }
    static json variant(const ptp_cfg_type_description &about) {
        return {{"type", "integer"}, {"minimum", -1}, {"maximum", about.newest_variant}};
    }
    json structure(const ptp_cfg_type *type) {
        const ptp_cfg_type_description about = describe(type);
        json properties = {{"$variant", variant(about)}};
        for (const ptp_cfg_field_description &field : fields_of(type)) {
            if (field.is_read_only == 0) {
                properties[field.name] = member(field);
            }
        }
        properties["$state"] = {{"type", "object"}};
        json result = {{"description", about.doc},
                       {"type", "object"},
                       {"properties", properties},
                       {"additionalProperties", false}};
        if (is_byte_list(type)) {
            const std::string more = std::to_string(fields_of(type).front().capacity - 1);
            result = any_of({{"type", "string"}, {"pattern", "^[0-9A-Fa-f]{2}(-[0-9A-Fa-f]{2}){" + more + "}$"}},
                            std::move(result));
        }
        return result;
    }
    json member(const ptp_cfg_field_description &field) {
        json result = {{"description", std::string(field.doc == nullptr ? "" : field.doc) +
                                           (field.unit == nullptr ? "" : " Unit: " + std::string(field.unit) + ".")}};
        if (field.is_array != 0) {
            result["type"] = "array";
            result["items"] = value(field);
            result["maxItems"] = field.capacity;
        } else {
            result.update(value(field));
        }
        return result;
    }
    json value(const ptp_cfg_field_description &field) {
        if (field.type != nullptr) {
            return reference(field.type);
        }
        const std::string name = field.type_name;
        if (!defined_.contains(name)) {
            defined_[name] = primitive(field);
        }
        json reference = {{"$ref", "#/$defs/" + name}};
        if (is_ipv4_number(field)) {
            return any_of({{"type", "string"}, {"pattern", ipv4_pattern}}, std::move(reference));
        }
        return reference;
    }
    static json primitive(const ptp_cfg_field_description &field);
    static json number(bool is_signed, u_int32 size);

    json defined_ = json::object();
};

json definitions::number(bool is_signed, u_int32 size) {
    const u_int32 bits = size * 8 - (is_signed ? 1 : 0);
    const u_int64 highest = bits == 64 ? UINT64_MAX : (u_int64{1} << bits) - 1;
    json result = {
        {"type", "integer"}, {"minimum", is_signed ? -static_cast<int64_t>(highest) - 1 : 0}, {"maximum", highest}};
    return size < 8 ? result
                    : any_of({{"type", "string"}, {"pattern", is_signed ? "^-?\\d{1,19}$" : "^\\d{1,20}$"}},
                             std::move(result));
}

json definitions::primitive(const ptp_cfg_field_description &field) {
    switch (field.kind) {
        case PTP_CFG_FIELD_UNSIGNED:
        case PTP_CFG_FIELD_SIGNED:
            return number(field.kind == PTP_CFG_FIELD_SIGNED, field.element_size);
        case PTP_CFG_FIELD_BOOLEAN:
            return {{"type", "boolean"}};
        case PTP_CFG_FIELD_TEXT:
            return any_of({{"type", "string"}, {"maxLength", 255}},
                          {{"type", "object"},
                           {"properties", {{"$bytes", {{"type", "string"}, {"pattern", "^([0-9A-Fa-f]{2})*$"}}}}},
                           {"required", {"$bytes"}},
                           {"additionalProperties", false}});
        default:
            break;
    }
    json result = {{"type", "string"}};
    if (const primitive_doc *known = primitive_named(field.type_name)) {
        result["description"] = std::string(known->doc) + ": " + known->form;
        if (known->pattern != nullptr) {
            result["pattern"] = anchored(known->pattern);
        }
    }
    return result;
}

}  // namespace

std::string json_schema(const ptp_cfg_type *type) {
    definitions collected;
    json schema = {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                   {"title", type == nullptr ? "messages of ptp_cfg" : describe(type).short_name}};
    schema.update(type == nullptr                          ? collected.any_message()
                  : describe(type).kind == PTP_CFG_MESSAGE ? collected.message(type)
                                                           : collected.reference(type));
    schema["$defs"] = collected.all();
    return schema.dump(2) + "\n";
}

}  // namespace ptpcfg
