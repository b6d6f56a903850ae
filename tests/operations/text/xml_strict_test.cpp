// Reading by rules: what strict reading refuses and plain reading takes, and how faults are told.
#include "ptp_cfg/clock.h"
#include "ptp_cfg/enumerations.h"
#include "records.h"

namespace ptp_cfg_test {
namespace {

constexpr u_int32 whole_message = VELA_XML_STRICT | VELA_XML_ALL_PAYLOADS;

/** Faults as lines, as many as wanted. */
struct fault_log {
    std::vector<std::string> lines;
    std::vector<u_int32> codes;
    size_t wanted = 100;

    static u_int32 add(void *self, const vela_xml_fault *fault) {
        fault_log &log = *static_cast<fault_log *>(self);
        log.lines.push_back(std::to_string(fault->line) + ":" + std::to_string(fault->column) + ": " + fault->path +
                            ": " + fault->reason);
        log.codes.push_back(fault->code);
        return log.lines.size() < log.wanted;
    }
};

class XmlStrict : public testing::Test {
  protected:
    void SetUp() override {
#ifdef PTP_CFG_EXPORTED_RUNTIME
        GTEST_SKIP() << "such a library reads directly";
#endif
    }
    document parse(const std::string &text, u_int32 rules) {
        const vela_xml_options options = {sizeof options, rules, fault_log::add, &log};
        return {vela_xml_parse_with(text.data(), text.size(), &options, &err, why, sizeof why), &vela_xml_destroy};
    }
    /** Reads a record at "//r" and gives it as XML. */
    std::string read(const char *type_name, const std::string &text, u_int32 rules, vela_handle *with = nullptr) {
        vela_handle *user = with != nullptr ? with : static_cast<vela_handle *>(handle);
        const record_type type(type_name);
        const auto instance = type.create(user);
        err = 0;
        why[0] = '\0';
        log = {};
        const document parsed = parse(text, rules);
        EXPECT_NE(parsed, nullptr) << why;
        type.operations->from_xml(user, mem_class, "//r", parsed.get(), instance.get(), &err, why, sizeof why);
        const bool is_told = err == 0 || user->last_error.code == err;
        EXPECT_TRUE(is_told) << err;
        vela_clear_last_error(user);
        return type.to_xml(user, instance.get());
    }
    /** Reads a clock's message and gives it as XML, or nothing after a fault. */
    std::string read_message(const std::string &text, u_int32 rules) {
        const record_type type("ptp_port_data_set_info_message");
        err = 0;
        log = {};
        const document parsed = parse(text, rules);
        EXPECT_NE(parsed, nullptr) << why;
        void *message = type.operations->from_document(handle, mem_class, parsed.get(), &err, why, sizeof why);
        vela_clear_last_error(handle);
        if (message == nullptr) {
            return "";
        }
        const owned<void> owner = hold(static_cast<vela_handle *>(handle), message, type.operations->destroy);
        return type.to_xml(handle, message);
    }

    const test_handle handle;
    fault_log log;
    u_int32 err = 0;
    char why[300] = "";
};

struct fault_row {
    const char *type;
    const char *content;  // of <r>, which is the only thing on the first line
    const char *told;     // the first fault
    u_int32 code = VELA_EINVAL;
    bool plain_fails = false;
};

constexpr fault_row rows[] = {
    {"ptp_clock_quality", "<clock_clas>1</clock_clas>",
     "1:5: r/clock_clas: unknown element in ptp_clock_quality; did you mean clock_class?"},
    {"ptp_clock_quality", "<zzz/>", "1:5: r/zzz: unknown element in ptp_clock_quality; leave it out"},
    {"ptp_clock_quality", "<clock_class>1</clock_class>\n<clock_class>2</clock_class>",
     "2:2: r/clock_class[2]: stands here a second time; keep one"},
    {"ptp_clock_quality", "stray", "1:2: r: text 'stray' has no place here; elements are wanted"},
    {"ptp_clock_quality", "<clock_class>1<b/></clock_class>",
     "1:19: r/clock_class/b: unknown element; a value is wanted in <clock_class>"},
    {"ptp_clock_quality", "<clock_class colour='red'>1</clock_class>",
     "1:5: r/clock_class: unknown attribute colour; leave it out"},
    {"ptp_clock_quality", "<clock_class state='256'>1</clock_class>",
     "1:5: r/clock_class: state '256' is not a number from 0 to 255"},
    {"ptp_clock_quality", "<clock_accuracy/>",
     "1:5: r/clock_accuracy: has no value; an empty element names it, for example "
     "<VELA_PTP_CLOCK_ACCURACY_UNKNOWN/>"},
    {"ptp_clock_quality", "<clock_accuracy>3</clock_accuracy>",
     "1:5: r/clock_accuracy: text '3' has no place here; an empty element names the value, for example "
     "<VELA_PTP_CLOCK_ACCURACY_UNKNOWN/>"},
    {"ptp_clock_quality", "<clock_accuracy><VELA_PTP_CLOCK_ACCURACY_WITHIN_10uss/></clock_accuracy>",
     "1:21: r/clock_accuracy/VELA_PTP_CLOCK_ACCURACY_WITHIN_10uss: unknown literal of ptp_clock_accuracy; did you mean "
     "VELA_PTP_CLOCK_ACCURACY_WITHIN_10us?"},
    {"ptp_clock_quality", "<clock_accuracy><ptp_clock_accuracy value out of range/></clock_accuracy>",
     "1:21: r/clock_accuracy/ptp_clock_accuracy: the value had no literal when this was written, and is lost; write a "
     "value"},
    {"ptp_clock_quality",
     "<clock_accuracy><VELA_PTP_CLOCK_ACCURACY_UNKNOWN/><VELA_PTP_CLOCK_ACCURACY_UNKNOWN/></clock_accuracy>",
     "1:55: r/clock_accuracy/VELA_PTP_CLOCK_ACCURACY_UNKNOWN[2]: is a second value of clock_accuracy; keep one"},
    {"ptp_clock_quality",
     "<clock_accuracy><VELA_PTP_CLOCK_ACCURACY_UNKNOWN>1</VELA_PTP_CLOCK_ACCURACY_UNKNOWN>"
     "</clock_accuracy>",
     "1:21: r/clock_accuracy/VELA_PTP_CLOCK_ACCURACY_UNKNOWN: a literal is an empty element; leave out what it holds"},
    {"ptp_clock_identity",
     "<ptp_clk_id>1</ptp_clk_id><ptp_clk_id>1</ptp_clk_id><ptp_clk_id>1</ptp_clk_id><ptp_clk_id>1</ptp_clk_id>"
     "<ptp_clk_id>1</ptp_clk_id><ptp_clk_id>1</ptp_clk_id><ptp_clk_id>1</ptp_clk_id><ptp_clk_id>1</ptp_clk_id>\n\n"
     "<ptp_clk_id>1</ptp_clk_id>",
     "3:2: r/ptp_clk_id[9]: one too many; at most 8 are allowed"},
    {"ptp_clock_quality", "<clock_class>256</clock_class>",
     "1:5: r/clock_class: value '256' is not a u_int8 (0 to 255)", VELA_EINVAL, true},
    {"ptp_port", "<port_name>\\q</port_name>", "1:5: r/port_name: '\\q' is no escape; write a backslash as \\\\",
     VELA_EINVAL, true},
};

TEST_F(XmlStrict, RefusesWhatPlainReadingPasses) {
    for (const fault_row &row : rows) {
        const std::string text = "<r>" + std::string(row.content) + "</r>";
        SCOPED_TRACE(text);
        const std::string unread = read(row.type, "<r/>", 0);
        EXPECT_EQ(read(row.type, text, VELA_XML_STRICT), unread) << "nothing is stored";
        EXPECT_EQ(err, row.code);
        ASSERT_EQ(log.lines.size(), 1u);
        EXPECT_EQ(log.lines[0], row.told);
        EXPECT_EQ(log.codes[0], row.code);
        std::string in_words = std::string("line ") + row.told;
        in_words.replace(in_words.find(':'), 1, ", column ");
        EXPECT_EQ(why, in_words);
        read(row.type, text, 0);
        EXPECT_EQ(err != 0, row.plain_fails) << why;
    }
    const std::string long_name = "<r><port_name>" + std::string(256, 'n') + "</port_name></r>";
    read("ptp_port", long_name, VELA_XML_STRICT);
    EXPECT_EQ(err, u_int32{VELA_ENOSPC});
}

TEST_F(XmlStrict, TakesEveryRecordThatIsRendered) {
    for (const ptp_cfg_type_kind kind : {PTP_CFG_STRUCTURE, PTP_CFG_ENUMERATION, PTP_CFG_MESSAGE}) {
        for (const record_type &type : record_types(kind)) {
            const auto source = type.create(handle);
            if (kind != PTP_CFG_ENUMERATION) {
                fill(type, handle, source.get(), filling::random);
            }
            const std::string text = type.to_xml(handle, source.get());
            log = {};
            err = 0;
            const document parsed =
                parse(text, whole_message * (kind == PTP_CFG_MESSAGE) | VELA_XML_STRICT | VELA_XML_ALL_FIELDS);
            ASSERT_NE(parsed, nullptr) << why;
            if (kind == PTP_CFG_MESSAGE) {
                void *message = type.operations->from_document(handle, mem_class, parsed.get(), &err, why, sizeof why);
                ASSERT_NE(message, nullptr) << why;
                const owned<void> owner = hold(static_cast<vela_handle *>(handle), message, type.operations->destroy);
                EXPECT_EQ(type.to_xml(handle, message), text);
            } else {
                const auto target = type.create(handle);
                type.operations->from_xml(handle, mem_class, (std::string("//") + type.about.name).c_str(),
                                          parsed.get(), target.get(), &err, why, sizeof why);
                EXPECT_EQ(type.to_xml(handle, target.get()), text);
            }
            EXPECT_EQ(err, 0u) << why;
            EXPECT_TRUE(log.lines.empty());
            vela_clear_last_error(handle);
        }
    }
}

TEST_F(XmlStrict, TellsOfAllFaultsAsLongAsTheyAreWanted) {
    const std::string text = "<r>\n<a/>\n<b/>\n<clock_class>x</clock_class>\n</r>";
    read("ptp_clock_quality", text, VELA_XML_STRICT);
    EXPECT_EQ(log.lines.size(), 3u);
    EXPECT_STREQ(why, "line 2, column 2: r/a: unknown element in ptp_clock_quality; leave it out");
    err = 0;
    const document parsed = parse(text, VELA_XML_STRICT);
    log = {{}, {}, 2};
    const record_type type("ptp_clock_quality");
    const auto quality = type.create(handle);
    type.operations->from_xml(handle, mem_class, "//r", parsed.get(), quality.get(), &err, nullptr, 0);
    EXPECT_EQ(log.lines.size(), 2u);
    vela_clear_last_error(handle);
}

TEST_F(XmlStrict, WhatIsTooNewIsNamedWithItsVariant) {
    const level_domain old(0);
    const test_handle older({.domain = old.get()});
    read("ptp_utc_offset", "<r><utc_offset>37</utc_offset><v_port_index>1</v_port_index></r>", VELA_XML_STRICT, older);
    EXPECT_EQ(err, u_int32{VELA_EEPOCH});
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_NE(log.lines[0].find("of ptp_utc_offset, but 0 is in use; leave it out"), std::string::npos) << log.lines[0];
    read("ptp_clock_profile", "<r><VELA_PTP_PHASE_PROFILE_G8275_2/></r>", VELA_XML_STRICT, older);
    EXPECT_EQ(err, u_int32{VELA_EEPOCH}) << "plain reading stores it";
}

TEST_F(XmlStrict, MissingFieldsAreFaultsWhenAskedFor) {
    const std::string text = "<r><clock_class>6</clock_class></r>";
    read("ptp_clock_quality", text, VELA_XML_STRICT);
    EXPECT_EQ(err, 0u) << why;
    read("ptp_clock_quality", text, VELA_XML_STRICT | VELA_XML_ALL_FIELDS);
    EXPECT_EQ(log.lines, (std::vector<std::string>{"1:2: r: <offset_scaled_log_var> is missing; add it",
                                                   "1:2: r: <clock_accuracy> is missing; add it"}));
    read("ptp_clock_identity", "<r><ptp_clk_id>1</ptp_clk_id></r>", VELA_XML_STRICT | VELA_XML_ALL_FIELDS);
    EXPECT_EQ(log.lines, (std::vector<std::string>{"1:2: r: holds 1 of 8 <ptp_clk_id>; add the others"}));
}

TEST_F(XmlStrict, EnumerationsMayBeNumbersWhenAskedFor) {
    const auto quality = [](const std::string &accuracy) {
        return "<r><clock_accuracy>" + accuracy + "</clock_accuracy></r>";
    };
    for (const u_int32 rules : {u_int32{VELA_XML_NUMBERS}, u_int32{VELA_XML_NUMBERS | VELA_XML_STRICT}}) {
        EXPECT_NE(read("ptp_clock_quality", quality(" 3\n"), rules).find("<VELA_PTP_CLOCK_ACCURACY_"),
                  std::string::npos);
        EXPECT_EQ(err, 0u) << why;
        EXPECT_NE(read("ptp_clock_quality", quality("4294967295"), rules).find("value out of range"),
                  std::string::npos);
        EXPECT_EQ(err, 0u) << why;
        const std::string unread = read("ptp_clock_quality", "<r/>", 0);
        for (const char *none : {"4294967296", "-1", "0x3", "3 4", "3<b/>"}) {
            EXPECT_EQ(read("ptp_clock_quality", quality(none), rules | VELA_XML_STRICT), unread) << none;
            EXPECT_EQ(err, u_int32{VELA_EINVAL});
        }
    }
    read("ptp_clock_quality", quality("3"), 0);
    EXPECT_EQ(err, 0u);
}

TEST_F(XmlStrict, IdentitiesAndAddressesMayBeShortWhenAskedFor) {
    const std::string identity = "ptp_clock_identity", all = "<r> aA-BB-CC-FF-FE-00-03-30\n</r>";
    const std::string unread = read(identity.c_str(), "<r/>", 0);
    for (const u_int32 rules : {u_int32{VELA_XML_SHORT_FORMS}, u_int32{VELA_XML_SHORT_FORMS | VELA_XML_STRICT}}) {
        EXPECT_NE(read(identity.c_str(), all, rules).find("<ptp_clk_id>170</ptp_clk_id><ptp_clk_id>187</ptp_clk_id>"),
                  std::string::npos);
        EXPECT_EQ(err, 0u) << why;
        EXPECT_NE(read("ptp_ipv4_stream_id", "<r><addr> 192.0.2.1 </addr></r>", rules).find("<addr>3221225985</addr>"),
                  std::string::npos);
        EXPECT_EQ(err, 0u) << why;
        EXPECT_NE(read("ptp_ipv4_stream_id", "<r><addr>7</addr></r>", rules).find("<addr>7</addr>"), std::string::npos);
        for (const char *none : {"192.0.2", "192.0.2.256", "192.0.2.01", "192.0.2.1.", "1 92.0.2.1", "x"}) {
            read("ptp_ipv4_stream_id", "<r><addr>" + std::string(none) + "</addr></r>", rules);
            EXPECT_EQ(err, u_int32{VELA_EINVAL}) << none;
        }
        for (const char *none : {"AA-BB-CC-FF-FE-00-03", "AA-BB-CC-FF-FE-00-03-30-31", "AA:BB:CC:FF:FE:00:03:30",
                                 "AA-BB-CC-FF-FE-00-03-3", "AA-BB-CC-FF-FE-00-03-30<ptp_clk_id>1</ptp_clk_id>"}) {
            EXPECT_EQ(read(identity.c_str(), "<r>" + std::string(none) + "</r>", rules | VELA_XML_STRICT), unread);
            EXPECT_EQ(err, u_int32{VELA_EINVAL}) << none;
        }
    }
    EXPECT_EQ(read(identity.c_str(), all, 0), unread);
    read(identity.c_str(), all, VELA_XML_STRICT);
    EXPECT_EQ(err, u_int32{VELA_EINVAL});
}

TEST_F(XmlStrict, AMessageIsTheRootWithItsPayloads) {
    const std::string handle_part = "<ptp_port_pd_hdl><hdl>7</hdl></ptp_port_pd_hdl>";
    const std::string data = "<ptp_port_data_set><versionNumber>2</versionNumber></ptp_port_data_set>";
    const auto message = [](const std::string &inner) {
        return "<ptp_port_data_set_info>" + inner + "</ptp_port_data_set_info>";
    };
    const std::string whole = read_message(message(handle_part + data), whole_message);
    EXPECT_NE(whole.find("<hdl>7</hdl>"), std::string::npos);
    EXPECT_EQ(read_message(message(data + handle_part), whole_message), whole);
    EXPECT_EQ(read_message("<ptp_cfg time='now'>" + message(handle_part + data) + "</ptp_cfg>", whole_message), whole);
    EXPECT_NE(read_message(message(handle_part), VELA_XML_STRICT), "");
    const std::pair<std::string, std::string> wrong[] = {
        {message(handle_part), "1:2: ptp_port_data_set_info: <ptp_port_data_set> is missing; add it"},
        {message(handle_part + data + data),
         "1:144: ptp_port_data_set_info/ptp_port_data_set[2]: stands here a second time; keep one"},
        {handle_part, "1:2: ptp_port_pd_hdl: is not the message that is read here; <ptp_port_data_set_info> is wanted"},
        {message("<x>" + handle_part + "</x>" + data),
         "1:26: ptp_port_data_set_info/x: unknown element in ptp_port_data_set_info; leave it out"},
        {"<ptp_cfg>" + message(handle_part + data) + message(handle_part + data) + "</ptp_cfg>",
         "1:2: ptp_cfg: a document holds one message, but here are more"},
        {"<ptp_cfg/>", "1:2: ptp_cfg: a document holds one message, but here is none"},
    };
    for (const auto &[text, told] : wrong) {
        EXPECT_EQ(read_message(text, whole_message), "") << "and the handle is left empty";
        ASSERT_FALSE(log.lines.empty()) << text;
        EXPECT_EQ(log.lines[0], told);
        read_message(text, 0);
        EXPECT_EQ(err, 0u) << why;
    }
}

TEST_F(XmlStrict, DocumentsAreRefusedWithTheirPlace) {
    EXPECT_EQ(parse("<r>\n<a></b></r>", VELA_XML_STRICT), nullptr);
    EXPECT_EQ(err, u_int32{VELA_EINVAL});
    EXPECT_EQ(log.lines, (std::vector<std::string>{"2:6: : this end tag is not that of the element which is open"}));
    constexpr u_int32 size = sizeof(vela_xml_options);
    const vela_xml_options unknown[] = {
        {4, 0, nullptr, nullptr}, {size, 32, nullptr, nullptr}, {size, VELA_XML_ALL_FIELDS, nullptr, nullptr}};
    for (const vela_xml_options &options : unknown) {
        err = 0;
        EXPECT_EQ(vela_xml_parse_with("<a/>", 4, &options, &err, why, sizeof why), nullptr);
        EXPECT_EQ(err, u_int32{VELA_EINVAL});
    }
    err = VELA_EEPOCH;
    EXPECT_EQ(vela_xml_parse_with("<a/>", 4, nullptr, &err, why, sizeof why), nullptr);
    EXPECT_EQ(err, u_int32{VELA_EEPOCH});
}

}  // namespace
}  // namespace ptp_cfg_test
