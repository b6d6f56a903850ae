// Messages as XML, and XML as messages.
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/messages.h"
#include "xml_test.h"

namespace ptp_cfg_test {
namespace {

class XmlMessage : public Xml {
  protected:
    owned<ptp_port_data_set_info_message> read_message(const std::string &text) {
        const document parsed = parse_xml(text);
        return {ptp_port_data_set_info_message_from_xml(handle, test_class, parsed.get(), &err, error_text,
                                                        sizeof error_text),
                {handle, ptp_port_data_set_info_message_destroy}};
    }
    std::string text(const ptp_port_data_set_info_message *message) {
        return text_of([&](char *buffer, u_int32 room) {
            return ptp_port_data_set_info_message_to_xml(handle, test_class, buffer, message, room, &err);
        });
    }
};

TEST_F(XmlMessage, Text) {
    const auto state =
        own(ptp_1pps_input_state_message_create(handle, test_class), ptp_1pps_input_state_message_destroy);
    EXPECT_EQ(record_type("ptp_1pps_input_state_message").to_xml(handle, state.get()),
              "<ptp_1pps_input_state><vela_boolean>false</vela_boolean></ptp_1pps_input_state>");

    const auto report =
        own(ptp_port_data_set_info_message_create(handle, test_class), ptp_port_data_set_info_message_destroy);
    const std::string whole = text(report.get());
    EXPECT_TRUE(whole.starts_with(
        "<ptp_port_data_set_info><ptp_port_pd_hdl><hdl>0</hdl></ptp_port_pd_hdl><ptp_port_data_set>"));
    EXPECT_TRUE(whole.ends_with("</ptp_port_data_set></ptp_port_data_set_info>"));
    EXPECT_EQ(text_of([&](char *buffer, u_int32 room) {
                  return ptp_port_data_set_info_message_to_xml_unsafe(handle, test_class, buffer, report.get(), room,
                                                                      &err);
              }),
              whole);
    chain();
    EXPECT_EQ(text_of([&](char *buffer, u_int32 room) {
                  return ptp_port_data_set_info_message_toxml_cr(handle, report.get(), buffer, room);
              }),
              whole);
    EXPECT_EQ(ptp_port_data_set_info_message_toxml_cr(handle, report.get(), nullptr, 0), 0xFFFFFFFFu);
    expect_chained_error(VELA_EMSGSIZE);
    expected_class = test_class;
}

TEST_F(XmlMessage, PayloadsThatAreNotThereKeepTheirDefaults) {
    const auto defaults =
        own(ptp_port_data_set_info_message_create(handle, test_class), ptp_port_data_set_info_message_destroy);
    const std::string default_text = text(defaults.get());
    EXPECT_EQ(text(read_message("<anything/>").get()), default_text);
    EXPECT_EQ(err, 0u);
    // Payloads are found wherever they stand, the second one without the first as well.
    const std::string changed = text(read_message("<r><a><ptp_port_data_set><versionNumber>2</versionNumber>"
                                                  "</ptp_port_data_set></a></r>")
                                         .get());
    EXPECT_EQ(err, 0u);
    EXPECT_NE(changed, default_text);
    const document parsed = parse_xml("<ptp_port_pd_hdl><hdl>7</hdl></ptp_port_pd_hdl>");
    const auto unsafe =
        own(ptp_port_data_set_info_message_from_xml_unsafe(handle, test_class, parsed.get(), &err, nullptr, 0),
            ptp_port_data_set_info_message_destroy);
    EXPECT_NE(text(unsafe.get()).find("<hdl>7</hdl>"), std::string::npos);
    vela_clear_last_error(handle);
}

TEST_F(XmlMessage, AFailureGivesNoMessage) {
    fail_allocation(1);
    EXPECT_EQ(read_message("<r/>"), nullptr);
    expect_error(VELA_ENOMEM);

    test_handle owner;
    owner.expect_blocks_left(3);  // the message stays with the handle
    const document parsed = parse_xml("<r><ptp_port_pd_hdl><hdl>x</hdl></ptp_port_pd_hdl></r>");
    EXPECT_EQ(
        ptp_port_data_set_info_message_from_xml(owner, test_class, parsed.get(), &err, error_text, sizeof error_text),
        nullptr);
    EXPECT_EQ(err, u_int32{VELA_EINVAL});
    EXPECT_STREQ(error_text, "element //ptp_port_pd_hdl/hdl: value 'x' is not a u_int16 (0 to 65535)");
    err = 0;
}

}  // namespace
}  // namespace ptp_cfg_test
