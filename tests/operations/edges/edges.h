// Records in every form that they have, for tests of values at the edge of what a field holds.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "ptp_cfg/json.h"
#include "records.h"

namespace ptp_cfg_test {

/** The forms of an instance. */
struct forms {
    octets bytes;
    std::string xml, json, print;
    bool operator==(const forms &) const = default;
};

inline std::string to_json(const record_type &type, vela_handle *handle, const void *instance) {
    std::string text(1u << 17, ' ');
    u_int32 err = 0;
    text.resize(ptp_cfg_to_json(handle, mem_class, type.type, instance, text.data(), 1u << 17, nullptr, &err));
    EXPECT_EQ(err, 0u) << type.about.name;
    return text;
}

inline forms forms_of(const record_type &type, vela_handle *handle, const void *instance) {
    u_int32 err = 0;
    std::string print(1u << 18, ' ');
    print.resize(type.operations->print(handle, mem_class, print.data(), instance, 1u << 18, &err));
    EXPECT_EQ(err, 0u) << type.about.name;
    return {type.marshal(handle, instance), type.to_xml(handle, instance), to_json(type, handle, instance), print};
}

/** Reads what is between <type> and </type> into an instance; the error that this ends with. */
inline u_int32 read_xml(const record_type &type, vela_handle *handle, const std::string &text, u_int32 rules,
                        void *instance) {
    vela_xml_options options = {};
    options.size = sizeof options;
    options.rules = rules;
    u_int32 err = 0;
    const document parsed(vela_xml_parse_with(text.data(), text.size(), &options, &err, nullptr, 0), &vela_xml_destroy);
    if (parsed != nullptr) {
        const std::string path = std::string("//") + type.about.name;
        type.operations->from_xml(handle, mem_class, path.c_str(), parsed.get(), instance, &err, nullptr, 0);
    }
    vela_clear_last_error(handle);
    return err;
}

inline u_int32 read_json(const record_type &type, vela_handle *handle, const std::string &text, void *instance) {
    u_int32 err = 0;
    ptp_cfg_from_json(handle, mem_class, type.type, instance, text.data(), text.size(), nullptr, &err, nullptr, 0);
    vela_clear_last_error(handle);
    return err;
}

/** Expects that each form that can be read gives the same again. */
inline void expect_survives(const record_type &type, vela_handle *handle, const void *instance, const forms &written) {
    const owned<void> decoded = type.unmarshal(handle, written.bytes);
    EXPECT_EQ(type.operations->compare(instance, decoded.get()), 0) << type.about.name << ": bytes";
    for (const u_int32 rules : {u_int32{0}, u_int32{VELA_XML_STRICT | VELA_XML_NUMBERS}}) {
        const owned<void> read = type.create(handle);
        EXPECT_EQ(read_xml(type, handle, written.xml, rules, read.get()), 0u) << type.about.name << ": XML";
        EXPECT_EQ(type.operations->compare(instance, read.get()), 0) << type.about.name << ": XML\n" << written.xml;
    }
    const owned<void> read = type.create(handle);
    EXPECT_EQ(read_json(type, handle, written.json, read.get()), 0u) << type.about.name << ": JSON";
    EXPECT_EQ(type.operations->compare(instance, read.get()), 0) << type.about.name << ": JSON\n" << written.json;
}

}  // namespace ptp_cfg_test
