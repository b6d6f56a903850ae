// Records as XML, and XML as records.
#include "xml_test.h"
#include "ptp_cfg/clock.h"
#include "ptp_cfg/commands.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/messages.h"
#include "ptp_cfg/port_stream.h"

namespace ptp_cfg_test {
namespace {

// ---- rendering ------------------------------------------------------------------------------------------------------

TEST_F(Xml, StructureText) {
    const auto quality = make_quality();
    const auto accuracy = own(ptp_clock_accuracy_create(handle, test_class), ptp_clock_accuracy_destroy);
    EXPECT_EQ(render_quality(quality.get(), 0), quality_xml);
    EXPECT_EQ(render_quality(quality.get(), 9), std::string(quality_xml).insert(2, " state=\"9\""));
    EXPECT_EQ(render_quality(nullptr, 0), "<q></q>") << "nothing is known of it";
    chain();
    EXPECT_EQ(text_of([&](char *buffer, u_int32 room) {
                  return ptp_clock_quality_toxml_cr(handle, "q", buffer, quality.get(), room, 0);
              }),
              quality_xml);
    char little[8];
    EXPECT_EQ(ptp_clock_quality_toxml_cr(handle, "q", little, quality.get(), sizeof little, 0), 0xFFFFFFFFu);
    expect_chained_error(VELA_EMSGSIZE);
    EXPECT_EQ(text_of([&](char *buffer, u_int32 room) {
                  return ptp_clock_accuracy_toxml_cr(handle, accuracy.get(), buffer, room);
              }),
              "<ptp_clock_accuracy><VELA_PTP_CLOCK_ACCURACY_UNKNOWN/></ptp_clock_accuracy>");
    expected_class = test_class;
}

TEST_F(Xml, StateFlagsOfTrackedRecords) {
    open(VELA_STTR_ON);
    const record_type type("ptp_port_identity");
    const auto port = create(type.type);
    set_flags(type, handle, port.get());
    EXPECT_EQ(type.to_xml(handle, port.get()),
              "<ptp_port_identity><clock_identity state=\"1\">"
              "<ptp_clk_id state=\"3\">0</ptp_clk_id><ptp_clk_id state=\"4\">0</ptp_clk_id>"
              "<ptp_clk_id state=\"5\">0</ptp_clk_id><ptp_clk_id state=\"6\">0</ptp_clk_id>"
              "<ptp_clk_id state=\"7\">0</ptp_clk_id><ptp_clk_id state=\"8\">0</ptp_clk_id>"
              "<ptp_clk_id state=\"9\">0</ptp_clk_id><ptp_clk_id state=\"10\">0</ptp_clk_id>"
              "</clock_identity><portNumber state=\"11\">0</portNumber></ptp_port_identity>");

    // Neither an enumeration's element nor the length of a text shows a flag.
    EXPECT_EQ(render_quality(make_quality().get(), 1),
              "<q state=\"1\"><clock_class>248</clock_class><offset_scaled_log_var>-2</offset_scaled_log_var>"
              "<clock_accuracy><VELA_PTP_CLOCK_ACCURACY_WITHIN_10us/></clock_accuracy></q>");
    const record_type named("ptp_port");
    const auto instance = create(named.type);
    ptp_port_port_name_set(handle, test_class, static_cast<ptp_port *>(instance.get()), "a<b", 3, &err);
    set_flags(named, handle, instance.get());
    const std::string text = named.to_xml(handle, instance.get());
    EXPECT_NE(text.find("<port_name_size>3</port_name_size><port_name state="), std::string::npos) << text;
    EXPECT_NE(text.find(">a&lt;b</port_name>"), std::string::npos) << text;

    set_mode(VELA_STTR_OFF);
    EXPECT_EQ(type.to_xml(handle, port.get()).find("state"), std::string::npos);
    set_mode(0x1234);
    EXPECT_DEATH(type.to_xml(handle, port.get()), "Corrupted VELA Handle");
    set_mode(VELA_STTR_ON);
}

TEST_F(Xml, UntrackedRecordsUnderATrackingHandle) {
    open(VELA_STTR_OFF);
    const auto quality = make_quality();
    set_mode(VELA_STTR_ON);
    EXPECT_EQ(render_quality(quality.get(), 0), "<q></q>");
    expect_error(VELA_EINVAL);
    expect_trace("ptp_clock_quality", BITLOG_INFORMATIONAL, "The object is non state tracked");
    set_mode(VELA_STTR_OFF);
}

TEST_F(Xml, RenderingStaysInItsRoom) {
    for (const char *name : {"ptp_clock", "ptp_port", "ptp_clock_accuracy", "ptp_port_runtime_state_msg_message",
                             "ptp_1pps_input_state_message"}) {
        const record_type type(name);
        const auto instance = create(type.type);
        if (type.about.kind != PTP_CFG_ENUMERATION) {
            fill(type, handle, instance.get(), filling::random);
        }
        const std::string whole = type.to_xml(handle, instance.get());
        const u_int32 len = static_cast<u_int32>(whole.size());
        const guarded_memory memory(len);
        u_int32 complete = 0;
        for (u_int32 room = 0; room <= len; ++room) {
            char *buffer = reinterpret_cast<char *>(memory.last(room));
            const u_int32 count = type.operations->to_xml(handle, test_class, buffer, instance.get(), room, &err);
            ASSERT_LE(count, room);
            EXPECT_EQ(err, room < len ? u_int32{VELA_EMSGSIZE} : 0u) << name << " " << room;
            EXPECT_EQ(handle->last_error.code, err);
            // Cut between two fields, a text is a document still.
            const document parsed(vela_xml_parse(buffer, count, nullptr, 0), &vela_xml_destroy);
            complete += parsed != nullptr ? 1 : 0;
            err = 0;
            vela_clear_last_error(handle);
        }
        EXPECT_GT(complete, type.about.kind == PTP_CFG_STRUCTURE ? 1u : 0u) << name;
    }
}

TEST_F(Xml, AnErrorThatIsSetEndsItAtOnce) {
    const auto quality = make_quality();
    err = VELA_ENOMEM;
    EXPECT_EQ(render_quality(quality.get(), 0), "");
    EXPECT_EQ(text_of([&](char *buffer, u_int32 room) {
                  return ptp_clock_cfg_message_to_xml(handle, test_class, buffer, nullptr, room, &err);
              }),
              "");
    expect_trace("ptp_clock_cfg_message", BITLOG_DEBUG,
                 "Already have error when rendering XML for ptp_clock_cfg: Cannot allocate memory");
    read_quality("<q><clock_class>1</clock_class></q>", quality.get());
    const document parsed = parse_xml("<q/>");
    EXPECT_EQ(ptp_clock_cfg_message_from_xml(handle, test_class, parsed.get(), &err, nullptr, 0), nullptr);
    expect_trace("ptp_clock_cfg_message", BITLOG_DEBUG,
                 "Already have error when rendering ptp_clock_cfg to XML: Cannot allocate memory");
    EXPECT_EQ(err, u_int32{VELA_ENOMEM});
    err = 0;
    expect_quality(quality.get(), 248, -2, 6);
}

// ---- enumerations ---------------------------------------------------------------------------------------------------

TEST_F(Xml, EveryLiteralReadsBack) {
    u_int32 literals = 0;
    for (const record_type &type : record_types(PTP_CFG_ENUMERATION)) {
        const auto instance = create(type.type);
        const auto other = create(type.type);
        ptp_cfg_literal literal = {};
        for (u_int32 i = 0; ptp_cfg_literal_describe(type.type, i, &literal) != 0; ++i, ++literals) {
            ptp_cfg_field_set_value(type.type, 0, handle, test_class, instance.get(), 0, literal.number, &err);
            EXPECT_EQ(err, 0u) << literal.literal;
            const std::string name = type.about.name;
            const std::string text = type.to_xml(handle, instance.get());
            EXPECT_EQ(text, "<" + name + "><" + literal.literal + "/></" + name + ">");
            read(type, "//" + name, text, other.get());
            EXPECT_EQ(type.operations->compare(instance.get(), other.get()), 0) << text;
        }
    }
    EXPECT_GT(literals, 130u);
    vela_clear_last_error(handle);
}

TEST_F(Xml, ValuesWithoutLiteralLeaveTheTargetAlone) {
    const octets strange = from_hex("00 00 0000000C 01 0002 00 00000063");
    const auto source = make_quality();
    ptp_clock_quality_unmarshal(handle, test_class, strange.data(), source.get(), 14, 0, &err);
    const std::string text = render_quality(source.get(), 0);
    EXPECT_NE(text.find("<clock_accuracy><ptp_clock_accuracy value out of range/></clock_accuracy>"),
              std::string::npos);
    const auto target = make_quality();
    read_quality(text, target.get());
    EXPECT_EQ(err, 0u);
    EXPECT_EQ(handle->last_error.code, u_int32{VELA_ENOENT}) << "of the last literal that was looked for";
    vela_clear_last_error(handle);
    expect_quality(target.get(), 1, 2, 6);
    for (const char *content :
         {"<VELA_PTP_CLOCK_ACCURACY_WITHIN_1/>", "<vela_ptp_clock_accuracy_within_10us/>", "3", ""}) {
        read_quality(std::string("<q><clock_accuracy>") + content + "</clock_accuracy></q>", target.get());
        EXPECT_EQ(err, 0u);
        expect_quality(target.get(), 1, 2, 6);
    }
    vela_clear_last_error(handle);
}

TEST_F(Xml, EnumerationsNameThePathThatFailed) {
    const auto quality = make_quality();
    read_quality("<q><clock_class>1</clock_class><clock_accuracy><VELA_PTP_CLOCK_ACCURACY_UNKNOWN>" +
                     std::string(200, 'x') + "</VELA_PTP_CLOCK_ACCURACY_UNKNOWN></clock_accuracy></q>",
                 quality.get());
    expect_error(VELA_ENOSPC);
    EXPECT_STREQ(error_text, "Failed xpath: //q/clock_accuracy");
    expect_quality(quality.get(), 1, -2, 6);

    // A text that is cut is no error of its own.
    const document parsed = parse_xml("<a><VELA_PTP_CLOCK_ACCURACY_UNKNOWN>" + std::string(200, 'x') +
                                      "</VELA_PTP_CLOCK_ACCURACY_UNKNOWN></a>");
    const auto accuracy = own(ptp_clock_accuracy_create(handle, test_class), ptp_clock_accuracy_destroy);
    ptp_clock_accuracy_from_xml(handle, test_class, "//a", parsed.get(), accuracy.get(), &err, error_text, 9);
    expect_error(VELA_ENOSPC);
    EXPECT_STREQ(error_text, "Failed x");
}

TEST_F(Xml, LiteralsOfANewerVariantAreStoredUnchecked) {
    const old_domain old({{"ptp_clock_profile", 0}});
    open(0, 0, old);
    const record_type type("ptp_clock_profile");
    const auto profile = create(type.type);
    read(type, "//p", "<p><VELA_PTP_PHASE_PROFILE_G8275_2/></p>", profile.get());
    EXPECT_EQ(err, 0u);
    EXPECT_EQ(ptp_clock_profile_get_value(handle, test_class, static_cast<ptp_clock_profile *>(profile.get()), &err),
              5u);
}

// ---- structures -----------------------------------------------------------------------------------------------------

TEST_F(Xml, AbsentElementsKeepTheirValues) {
    const auto quality = make_quality();
    read_quality("<x><q><unknown>5</unknown></q></x>", quality.get());
    EXPECT_EQ(err, 0u);
    vela_clear_last_error(handle);
    expect_quality(quality.get(), 248, -2, 6);
    read_quality(
        "<q><clock_accuracy><VELA_PTP_CLOCK_ACCURACY_UNKNOWN/></clock_accuracy><clock_class> 7\n</clock_class></q>",
        quality.get());
    EXPECT_EQ(err, 0u);
    vela_clear_last_error(handle);
    expect_quality(quality.get(), 7, -2, 0);
    read_quality("<other/>", quality.get());
    expect_error(VELA_ENOENT);
}

TEST_F(Xml, ReadingAnnouncesValuesButNotThoseOfEnumerations) {
    const auto quality = make_quality();
    const size_t variance =
        distance(quality.get(), ptp_clock_quality_offset_scaled_log_var_get(handle, test_class, quality.get(), &err));
    const size_t accuracy =
        distance(quality.get(), ptp_clock_quality_clock_accuracy_get(handle, test_class, quality.get(), &err)) + 12;
    watch(quality.get(), 40);
    read_quality(
        "<q><clock_class>1</clock_class><offset_scaled_log_var>2</offset_scaled_log_var>"
        "<clock_accuracy><VELA_PTP_CLOCK_ACCURACY_UNKNOWN/></clock_accuracy></q>",
        quality.get());
    expect_notified(quality.get(), {{11, 1}, {variance, 2}}, {{accuracy, 1}});
}

TEST_F(Xml, MalformedValuesAreNamed) {
    struct row {
        const char *type, *field, *value;
        u_int32 error;
        const char *text;
    };
    for (const row &it : {
             row{"ptp_clock_quality", "clock_class", "256", 22, "value '256' is not a u_int8 (0 to 255)"},
             row{"ptp_clock_quality", "clock_class", "-1", 22, "value '-1' is not a u_int8 (0 to 255)"},
             row{"ptp_clock_quality", "clock_class", "1x", 22, "value '1x' is not a u_int8 (0 to 255)"},
             row{"ptp_clock_quality", "clock_class", "", 22, "value '' is not a u_int8 (0 to 255)"},
             row{"ptp_clock_quality", "offset_scaled_log_var", "32768", 22,
                 "value '32768' is not an int16 (-32768 to 32767)"},
             row{"ptp_clock", "modify", "yes", 22, "value 'yes' is not a vela_boolean (true, false, 1 or 0)"},
             row{"ptp_clock", "clock_handle", "18446744073709551616", 22,
                 "value '18446744073709551616' is not a u_int64 (0 to 18446744073709551615)"},
             row{"ptp_port", "local_addr", "1.2.3", 22,
                 "value '1.2.3' is not an ip_address (such as 192.0.2.1, 2001:db8::1%3 or nothing)"},
             row{"ptp_port", "local_mac_addr", "1:2", 22,
                 "value '1:2' is not an en_address (such as 00:1b:19:00:00:01)"},
             row{"ptp_port", "vrf", "1:2:3", 22,
                 "value '1:2:3' is not a vrf_info (ID:TABLE:AFI:SAFI, four numbers, as 1:254:1:1)"},
         }) {
        const record_type type(it.type);
        const auto instance = create(type.type);
        const auto untouched = create(type.type);
        const std::string field = it.field;
        read(type, "//r", "<r><" + field + ">" + it.value + "</" + field + "></r>", instance.get());
        expect_error(it.error);
        EXPECT_EQ(error_text, "element //r/" + field + ": " + it.text);
        EXPECT_EQ(type.operations->compare(instance.get(), untouched.get()), 0);
    }
    const auto quality = make_quality();
    const document parsed =
        parse_xml("<q><clock_class>256</clock_class><offset_scaled_log_var>1</offset_scaled_log_var></q>");
    ptp_clock_quality_from_xml(handle, test_class, "//q", parsed.get(), quality.get(), &err, nullptr, 0);
    expect_error(VELA_EINVAL);
    expect_quality(quality.get(), 248, -2, 6);  // reading ended there
    char little[10];
    memset(little, '.', sizeof little);
    ptp_clock_quality_from_xml(handle, test_class, "//q", parsed.get(), quality.get(), &err, little, 9);
    expect_error(VELA_EINVAL);
    EXPECT_EQ(std::string(little, sizeof little), std::string("element \0.", 10));
}

TEST_F(Xml, NothingIsReadIntoNoInstance) {
    expect_no_instance_refused(PTP_CFG_ENUMERATION, "<q/>");
    expect_no_instance_refused(PTP_CFG_STRUCTURE, quality_xml);
}

TEST_F(Xml, TextsOfMoreThan255CharactersAreRefused) {
    const record_type type("ptp_port");
    const auto port = create(type.type);
    const auto name_of = [](size_t length) { return "<r><port_name>" + std::string(length, 'n') + "</port_name></r>"; };
    read(type, "//r", name_of(255), port.get());
    EXPECT_EQ(err, 0u);
    read(type, "//r", name_of(256), port.get());
    expect_error(VELA_ENOSPC);
    read(type, "//r", "<r><port_name_size>3</port_name_size></r>", port.get());
    EXPECT_EQ(err, 0u) << "the length follows the text, and is not read";
    EXPECT_EQ(ptp_port_port_name_size_get_value(handle, test_class, static_cast<ptp_port *>(port.get()), &err), 255u);
    vela_clear_last_error(handle);
}

TEST_F(Xml, FieldsThatTheInstanceIsTooOldFor) {
    const old_domain old({{"ptp_utc_offset", 1}});
    open(0, 0, old);
    const record_type type("ptp_utc_offset");
    const auto offset = create(type.type);
    read(type, "//o", "<o><utc_offset>37</utc_offset><leap_second_day>31</leap_second_day></o>", offset.get());
    EXPECT_EQ(err, 0u);
    vela_clear_last_error(handle);
    read(type, "//o", "<o><utc_offset>38</utc_offset><v_port_index>1</v_port_index></o>", offset.get());
    expect_epoch_error();
    EXPECT_EQ(type.to_xml(handle, offset.get()),
              "<ptp_utc_offset><utc_offset>38</utc_offset><leap_second_offset>0</leap_second_offset>"
              "<leap_second_day>31</leap_second_day><leap_second_month>0</leap_second_month>"
              "<leap_second_year>0</leap_second_year></ptp_utc_offset>");
}

TEST_F(Xml, ArraysEndAtTheFirstMissingPosition) {
    const record_type type("ptp_clock_identity");
    const auto identity = create(type.type);
    const auto octet = [](int value) { return "<ptp_clk_id>" + std::to_string(value) + "</ptp_clk_id>"; };
    const auto expect = [&](const char *hex) {
        u_int8 id[8];
        ptp_clock_identity_ptp_clk_id_get_mem(handle, test_class, static_cast<ptp_clock_identity *>(identity.get()), id,
                                              8, &err);
        EXPECT_EQ(octets(id, id + 8), from_hex(hex));
    };
    std::string all;
    for (int i = 1; i <= 9; ++i) {
        all += octet(i);
    }
    read(type, "//i", "<i>" + all + "</i>", identity.get());
    expect("0102030405060708");
    read(type, "//i", "<i>" + octet(11) + "<gap/>" + octet(12) + "</i>", identity.get());
    expect("0B0C030405060708");
    EXPECT_EQ(err, 0u);
    read(type, "//i", "<i>" + octet(21) + octet(22) + octet(999) + octet(24) + "</i>", identity.get());
    expect_error(VELA_EINVAL);
    EXPECT_STREQ(error_text, "element //i/ptp_clk_id[3]: value '999' is not a u_int8 (0 to 255)");
    expect("1516030405060708");

    const record_type list_type("ptp_ipv4_streams_arr");
    const auto list = create(list_type.type);
    const auto before = create(list_type.type);
    read(list_type, "//l", "<l><streams/><streams/></l>", list.get());
    EXPECT_EQ(err, 0u);
    EXPECT_EQ(list_type.operations->compare(list.get(), before.get()), 0);
    vela_clear_last_error(handle);
}

TEST_F(Xml, PathsOfAnyLengthReadAlike) {
#ifdef PTP_CFG_EXPORTED_RUNTIME
    GTEST_SKIP() << "such a library leaves out what it has no room to name";
#endif
    // Behind the first of these paths there is no room to show "curr_master_ext"; cut, it would be another field's name.
    const record_type type("ptp_bmca_current_mst_details");
    for (const size_t length : {255 - strlen("///curr_master"), size_t{300}}) {
        const auto details = create(type.type);
        const std::string name(length, 'p');
        const auto text = [&](const char *address) {
            return "<" + name + "><curr_master>5</curr_master><curr_master_ext>" + address + "</curr_master_ext></" +
                   name + ">";
        };
        read(type, "//" + name, text("192.0.2.1"), details.get());
        EXPECT_EQ(err, 0u) << error_text;
        vela_clear_last_error(handle);
        const std::string rendered = type.to_xml(handle, details.get());
        EXPECT_NE(rendered.find("<curr_master>5</curr_master>"), std::string::npos) << rendered;
        EXPECT_NE(rendered.find("<curr_master_ext>192.0.2.1</curr_master_ext>"), std::string::npos) << rendered;
        read(type, "//" + name, text("nowhere"), details.get());
        expect_error(VELA_EINVAL);
    }
}

}  // namespace
}  // namespace ptp_cfg_test
