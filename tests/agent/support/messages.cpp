// Messages as a control plane would send them.
#include "support/messages.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "agent/intent/fields.h"

namespace ptp_agent::test {

Record message(const SharedHandle &handle, std::string_view name, Values values) {
    Record record(handle, ptp_cfg_type_find(std::string(name).c_str()));
    for (const auto &[path, value] : values) {
        EXPECT_TRUE(record.set(path, value)) << name << ": " << path << " = " << value;
    }
    return record;
}

namespace {

void set_field(Record &record, std::string_view path, const void *value, std::size_t length) {
    const auto place = find_field(record.type(), record.handle(), record.message(), path);
    ASSERT_TRUE(place) << path;
    u_int32 err = 0;
    ptp_cfg_field_set(place->owner, place->index, record.handle(), memory_class, place->instance, place->element, value,
                      static_cast<u_int32>(length), &err);
    EXPECT_EQ(err, 0u) << path;
}

}  // namespace

void set_text(Record &record, std::string_view path, std::string_view text) {
    set_field(record, path, text.data(), text.size());
}

void set_ip(Record &record, std::string_view path, const std::string &address) {
    ip_address value{};
    value.family = address.find(':') == std::string::npos ? VELA_IP_V4 : VELA_IP_V6;
    ASSERT_EQ(::inet_pton(value.family == VELA_IP_V4 ? AF_INET : AF_INET6, address.c_str(), value.bytes), 1);
    set_field(record, path, &value, 0);
}

void set_mac(Record &record, std::string_view path, const en_address &address) { set_field(record, path, &address, 0); }

Record example(const SharedHandle &handle, const std::string &file) {
    std::ifstream stream(EXAMPLE_CLOCKS + std::string("/") + file);
    const std::string text((std::istreambuf_iterator<char>(stream)), {});
    char why[200] = "";
    vela_xml_document *document = vela_xml_parse(text.data(), text.size(), why, sizeof why);
    EXPECT_NE(document, nullptr) << file << ": " << why;
    const std::size_t name = text.find("<ptp_", text.find("-->")) + 1;
    const ptp_cfg_type *type = ptp_cfg_type_find(text.substr(name, text.find('>', name) - name).c_str());
    u_int32 err = 0;
    void *made = describe(type).operations->from_document(handle.get(), memory_class, document, &err, why, sizeof why);
    EXPECT_EQ(err, 0u) << file << ": " << why;
    vela_xml_destroy(document);
    return Record(handle, type, made);
}

Record port(const SharedHandle &handle, int number, std::string_view interface, Values values) {
    Record record = message(handle, "ptp_port_cfg", {{"clk_handle", 1}, {"port_num", number}, {"local_priority", 128}});
    set_text(record, "port_name", interface);
    for (const auto &[path, value] : values) {
        EXPECT_TRUE(record.set(path, value)) << path;
    }
    return record;
}

Answer Wishes::take(const Record &record) {
    return ptp_agent::take(intent, record.type(), record.message(), record.handle(), rules);
}

void Wishes::ask(const Record &record) {
    const Answer answer = take(record);
    EXPECT_EQ(answer.kind, Answer::Kind::Applied) << to_text(answer);
}

}  // namespace ptp_agent::test
