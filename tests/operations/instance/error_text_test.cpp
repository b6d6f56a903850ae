// Which call an error word comes from: every code, from real calls, and how the place is told.
#include <dlfcn.h>
#include <gmock/gmock.h>

#include <algorithm>

#include "ptp_cfg/clock.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/messages.h"
#include "ptp_cfg/port_stream.h"
#include "ptp_cfg/receive.h"
#include "recording_handle.h"

namespace ptp_cfg_test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

constexpr char accuracy_refused[] =
    "43 (VELA_EEPOCH): ptp_clock_quality_clock_accuracy_set_value: field clock_accuracy: the instance's variant does "
    "not have this value";

class error_text : public family_test {
  protected:
    std::string text_of(u_int32 code) {
        char text[300];
        const u_int32 length = vela_error_text(handle, code, text, sizeof text);
        EXPECT_EQ(length, strlen(text));
        return text;
    }
    /** The text of the error that a call has just set; forgets the error. */
    std::string take() {
        u_int32 &word = err != 0 ? err : handle->chained_err;
        const std::string text = text_of(word);
        EXPECT_NE(word, 0u);
        word = 0;
        vela_clear_last_error(handle);
        return text;
    }
    void refuse_accuracy() {
        ptp_clock_quality_clock_accuracy_set_value(handle, test_class, quality.get(), 0xFFFFFFFF, &err);
    }
    void open_anew(const vela_domain *domain, u_int32 tracking = 0) {
        quality.reset();
        identity.reset();
        open(tracking, 0, domain);
        quality = own(ptp_clock_quality_create(handle, test_class), ptp_clock_quality_destroy);
        identity = own(ptp_clock_identity_create(handle, test_class), ptp_clock_identity_destroy);
    }
    void SetUp() override { open_anew(nullptr); }
    void TearDown() override {
        quality.reset();
        identity.reset();
        family_test::TearDown();
    }

    owned<ptp_clock_quality> quality;
    owned<ptp_clock_identity> identity;
};

TEST_F(error_text, names_who_could_not_mark_or_read_a_flag_and_forgets_what_was_before) {
    open_anew(nullptr, VELA_STTR_OFF);
    set_mode(VELA_STTR_ON);
    ptp_clock_quality_clock_class_set_value(handle, test_class, quality.get(), 6, &err);
    EXPECT_EQ(take(),
              "22 (VELA_EINVAL): ptp_clock_quality_clock_class_set_value: field clock_class: the instance is not state "
              "tracked");
    open_anew(nullptr, VELA_STTR_ON);
    traces.clear();
    for (const bool reads : {true, false}) {
        refuse_accuracy();
        err = 0;
        if (reads) {
            ptp_clock_quality_clock_class_state_flag_get(handle, test_class, quality.get(), &err);
        } else {
            ptp_clock_quality_clock_class_state_flag_set(handle, test_class, quality.get(), 1, &err);
        }
        EXPECT_EQ(handle->last_error.code, 0u) << "a call that succeeds has no error left of those before";
    }
}

TEST_F(error_text, names_the_function_the_field_and_the_reason) {
    refuse_accuracy();
    EXPECT_EQ(take(), accuracy_refused);
    ptp_clock_identity_ptp_clk_id_get_value(handle, test_class, identity.get(), 99, &err);
    EXPECT_EQ(take(),
              "2 (VELA_ENOENT): ptp_clock_identity_ptp_clk_id_get_value: field ptp_clk_id: the index is beyond its "
              "elements");
    ptp_clock_quality_set(handle, test_class, quality.get(), nullptr, &err);
    EXPECT_EQ(take(), "22 (VELA_EINVAL): ptp_clock_quality_set: the source is null");
    ptp_clock_quality_clock_class_get_value(handle, test_class, nullptr, &err);
    EXPECT_EQ(take(),
              "43 (VELA_EEPOCH): ptp_clock_quality_clock_class_get_value: field clock_class: the instance is null");
    ptp_clock_accuracy_get_value(handle, test_class, nullptr, &err);
    EXPECT_EQ(take(), "22 (VELA_EINVAL): ptp_clock_accuracy_get_value: an instance is null");
    ptp_clock_quality_get_oid_count(handle, test_class, nullptr, &err);
    EXPECT_EQ(take(), "22 (VELA_EINVAL): ptp_clock_quality_get_oid_count: the instance is null");
    traces.clear();

    u_int8 bytes[64];
    ptp_clock_quality_marshal(handle, test_class, bytes, quality.get(), 3, &err);
    EXPECT_THAT(take(), HasSubstr("90 (VELA_EMSGSIZE): ptp_clock_quality_marshal: a buffer is too short"));
    ptp_clock_quality_unmarshal(handle, test_class, bytes, quality.get(), 0, 0, &err);
    EXPECT_THAT(take(), HasSubstr("12 (VELA_ENOMEM): ptp_clock_quality_unmarshal: no memory"));
    char print[40];
    ptp_clock_quality_print(handle, test_class, print, 0, "", quality.get(), sizeof print, &err);
    EXPECT_THAT(take(), MatchesRegex("90 .VELA_EMSGSIZE.: ptp_clock_quality_print: field [a-z_]+: a buffer .*"));
    ptp_clock_quality_to_xml(handle, test_class, "q", print, quality.get(), sizeof print, 0, &err);
    EXPECT_THAT(take(), MatchesRegex("90 .VELA_EMSGSIZE.: ptp_clock_quality_to_xml: field [a-z_]+: a buffer .*"));
}

TEST_F(error_text, names_what_messages_and_documents_fail_at) {
    owned<ptp_clock_delete_cmd_message> message =
        own(ptp_clock_delete_cmd_message_create(handle, test_class), ptp_clock_delete_cmd_message_destroy);
    u_int8 bytes[256];
    const u_int32 length =
        ptp_clock_delete_cmd_message_marshal(handle, test_class, bytes, message.get(), sizeof bytes, &err);
    ptp_cfg_dispatch(handle, test_class, nullptr, nullptr, nullptr, bytes, length, &err);
    EXPECT_EQ(take(),
              "38 (VELA_ENOSYS): ptp_cfg_dispatch: ptp_clock_delete_cmd_message: a message arrived for which the "
              "application has no handler");
    ptp_cfg_receive(handle, test_class, nullptr, bytes, length - 1, nullptr, &err);
    EXPECT_THAT(take(), HasSubstr("90 (VELA_EMSGSIZE): ptp_cfg_receive: "));
    bytes[30] ^= 1;
    ptp_cfg_dispatch(handle, test_class, nullptr, nullptr, nullptr, bytes, length, &err);
    EXPECT_EQ(take(), "22 (VELA_EINVAL): ptp_cfg_dispatch: no message has this identity");

    const std::string name(300, 'x');
    const std::string xml = "<ptp_port><port_name>" + name + "</port_name></ptp_port>";
    vela_xml_document *document = vela_xml_parse(xml.data(), static_cast<u_int32>(xml.size()), nullptr, 0);
    owned<ptp_port> port = own(ptp_port_create(handle, test_class), ptp_port_destroy);
    ptp_port_from_xml(handle, test_class, "//ptp_port", document, port.get(), &err, nullptr, 0);
    EXPECT_EQ(take(), "28 (VELA_ENOSPC): ptp_port_from_xml: field port_name: a text is too long for its destination");
    vela_xml_destroy(document);
    port.reset();
    message.reset();

    vela_domain *domain = vela_domain_create("strict");
    vela_domain_forbid_message(domain, "ptp_clock_delete_cmd_message");
    vela_domain_set_variant(domain, "ptp_clock_time_properties_data_set", 0);
    open_anew(nullptr);
    owned<ptp_clock> clock = own(ptp_clock_create(handle, test_class), ptp_clock_destroy);
    message = own(ptp_clock_delete_cmd_message_create(handle, test_class), ptp_clock_delete_cmd_message_destroy);
    vela_handle_set_domain(handle, domain);
    ptp_clock_delete_cmd_message_marshal(handle, test_class, bytes, message.get(), sizeof bytes, &err);
    EXPECT_EQ(take(),
              "52 (VELA_EDOMAIN): ptp_clock_delete_cmd_message_marshal: the handle's domain does not allow this "
              "message");
    u_int8 clock_bytes[4096];
    ptp_clock_marshal(handle, test_class, clock_bytes, clock.get(), sizeof clock_bytes, &err);
    EXPECT_EQ(
        take(),
        "43 (VELA_EEPOCH): ptp_clock_marshal: ptp_clock_time_properties_data_set: the instance's variant is newer "
        "than the handle's domain");
    message.reset();
    clock.reset();
    vela_domain_destroy(domain);
    traces.clear();
}

TEST_F(error_text, names_the_forms_of_chained_calls) {
    chain();
    fail_allocation(1);
    EXPECT_NE(ptp_clock_quality_create_cr(handle), nullptr) << "the static one";
    EXPECT_THAT(take(), HasSubstr("12 (VELA_ENOMEM): ptp_clock_quality_create_cr: no memory"));
    ptp_clock_identity_ptp_clk_id_set_mem_cr(handle, identity.get(), "", 99);
    EXPECT_EQ(
        take(),
        "22 (VELA_EINVAL): ptp_clock_identity_ptp_clk_id_set_mem_cr: field ptp_clk_id: the length is not one that "
        "it can have");
    ptp_port_port_name_set_cr(handle, nullptr, "uplink", 6);
    EXPECT_EQ(take(), "43 (VELA_EEPOCH): ptp_port_port_name_set_cr: field port_name: the instance is null");
    char print[40];
    ptp_clock_quality_print_cr(handle, print, 0, "", quality.get(), sizeof print);
    EXPECT_THAT(take(), HasSubstr("90 (VELA_EMSGSIZE): ptp_clock_quality_print_cr: field "));
    fail_allocation(1);
    EXPECT_EQ(ptp_clock_quality_clone_cr(handle, quality.get()), nullptr);
    EXPECT_THAT(take(), HasSubstr("12 (VELA_ENOMEM): ptp_clock_quality_clone_cr: no memory"));
    traces.clear();
    expected_class = test_class;
}

TEST_F(error_text, stays_that_of_the_call_which_set_the_word) {
    refuse_accuracy();
    ptp_clock_quality_clock_class_set_value(handle, test_class, nullptr, 1, &err);
    ptp_clock_quality_set(handle, test_class, quality.get(), nullptr, &err);
    ptp_clock_accuracy_get_value(handle, test_class, nullptr, &err);
    EXPECT_EQ(refused, (std::vector<std::string>{"ptp_clock_quality_clock_class_set_value refused: error 43 is present",
                                                 "ptp_clock_quality_set refused: error 43 is present",
                                                 "ptp_clock_accuracy_get_value refused: error 43 is present"}));
    u_int32 other = 0;
    ptp_clock_quality_set(handle, test_class, quality.get(), nullptr, &other);
    EXPECT_EQ(text_of(other), "22 (VELA_EINVAL): ptp_clock_quality_set: the source is null");
    EXPECT_EQ(take(), accuracy_refused) << "other codes have places of their own";
    ptp_clock_quality_clock_class_set_value(handle, test_class, quality.get(), 1, &err);
    ptp_clock_quality_clock_class_get_value(handle, test_class, nullptr, &err);
    EXPECT_THAT(take(), HasSubstr("ptp_clock_quality_clock_class_get_value")) << "a later failure of the same code";
}

TEST_F(error_text, is_cut_to_its_room_and_takes_any_code) {
    refuse_accuracy();
    const std::string whole = take();
    for (u_int32 room = 0; room <= whole.size() + 1; ++room) {
        std::vector<char> buffer(room + 1, '#');
        EXPECT_EQ(vela_error_text(handle, VELA_EEPOCH, buffer.data(), room), whole.size());
        EXPECT_EQ(buffer[room], '#');
        EXPECT_EQ(std::string(room == 0 ? "" : buffer.data()), whole.substr(0, room == 0 ? 0 : room - 1));
    }
    EXPECT_EQ(text_of(0), "0 (no error)");
    EXPECT_EQ(text_of(110), "110: Connection timed out");
    EXPECT_EQ(text_of(70000), "70000: an error of the system or of the application");
    char text[200];
    vela_error_text(nullptr, VELA_ENOSYS, text, sizeof text);
    EXPECT_STREQ(text, "38 (VELA_ENOSYS): a message arrived for which the application has no handler");
    EXPECT_STREQ(vela_error_name(VELA_EDOMAIN), "VELA_EDOMAIN");
    EXPECT_EQ(vela_error_name(1), nullptr);
}

/** The second part of "CODE (NAME): FUNCTION: ...". */
std::string function_in(const std::string &text) {
    const size_t start = text.find("): ") + 3;
    return text.substr(start, text.find(": ", start) - start);
}

TEST_F(error_text, names_accessors_that_there_are) {
    size_t seen = 0;
    const auto expect_exported = [&](const char *type, const char *field) {
        const std::string text = take();
        const std::string function = function_in(text);
        EXPECT_NE(dlsym(RTLD_DEFAULT, function.c_str()), nullptr) << text;
        EXPECT_EQ(function.rfind(std::string(type) + "_" + field + "_", 0), 0u) << text;
        ++seen;
    };
    for (const ptp_cfg_type *type : types_of(PTP_CFG_STRUCTURE)) {
        const ptp_cfg_type_description owner = describe(type);
        for (u_int32 i = 0; i < owner.field_count; ++i) {
            const ptp_cfg_field_description field = describe_field(type, i);
            ptp_cfg_field_get(type, i, handle, test_class, nullptr, 0, &err);
            expect_exported(owner.name, field.name);
            if (field.is_read_only != 0) {
                continue;
            }
            ptp_cfg_field_state_flag_get(type, i, handle, test_class, nullptr, 0, &err);
            expect_exported(owner.name, field.name);
            ptp_cfg_field_state_flag_set(type, i, handle, test_class, nullptr, 0, 1, &err);
            expect_exported(owner.name, field.name);
            ptp_cfg_field_set(type, i, handle, test_class, nullptr, 0, "", 0, &err);
            expect_exported(owner.name, field.name);
            if (field.kind <= PTP_CFG_FIELD_BOOLEAN || field.kind == PTP_CFG_FIELD_ENUMERATION) {
                ptp_cfg_field_set_value(type, i, handle, test_class, nullptr, 0, 1, &err);
                expect_exported(owner.name, field.name);
            }
        }
    }
    EXPECT_GT(seen, 1000u);
    traces.clear();
}

}  // namespace
}  // namespace ptp_cfg_test
