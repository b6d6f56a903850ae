// Records as JSON, and JSON as records.
#include <algorithm>
#include <cstring>

#include "ptp_cfg/clock.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/json.h"
#include "records.h"

namespace ptp_cfg_test {
namespace {

/** What a reading told of its fault. */
struct told_fault {
    u_int32 code = 0;
    std::string text;
    size_t offset = 0;

    static void take(void *self, const ptp_cfg_json_fault *fault) {
        told_fault &told = *static_cast<told_fault *>(self);
        told = {fault->code,
                std::to_string(fault->line) + ":" + std::to_string(fault->column) + ": " + fault->path + ": " +
                    fault->reason,
                fault->offset};
    }
};

class Json : public testing::Test {
  protected:
    static ptp_cfg_json_options options_of(u_int32 rules, u_int32 indent = 0, told_fault *told = nullptr) {
        ptp_cfg_json_options options = {};
        options.size = sizeof options;
        options.rules = rules;
        options.indent = indent;
        options.on_fault = told == nullptr ? nullptr : told_fault::take;
        options.cookie = told;
        return options;
    }
    static std::string write(vela_handle *handle, const record_type &type, const void *instance, u_int32 rules = 0,
                             u_int32 indent = 0) {
        const ptp_cfg_json_options options = options_of(rules, indent);
        u_int32 err = 0;
        const u_int32 needed = ptp_cfg_to_json(handle, mem_class, type.type, instance, nullptr, 0, &options, &err);
        EXPECT_EQ(err, u_int32{VELA_EMSGSIZE});
        err = 0;
        guarded_memory memory(needed);
        char *text = reinterpret_cast<char *>(memory.last(needed));
        EXPECT_EQ(ptp_cfg_to_json(handle, mem_class, type.type, instance, text, needed, &options, &err), needed);
        EXPECT_EQ(err, 0u) << type.about.name;
        return {text, needed};
    }
    /** Reads into an instance, or into a new one; the text ends where no more can be read. */
    void *read(vela_handle *handle, const record_type &type, void *instance, const std::string &text,
               u_int32 rules = 0) {
        guarded_memory memory(text.size() + 1);
        char *copy = reinterpret_cast<char *>(memory.last(text.size()));
        memcpy(copy, text.data(), text.size());
        told = {};
        const ptp_cfg_json_options options = options_of(rules, 0, &told);
        err = 0;
        void *result = ptp_cfg_from_json(handle, mem_class, type.type, instance, copy, text.size(), &options, &err, why,
                                         sizeof why);
        EXPECT_EQ(result == nullptr, err != 0);
        EXPECT_EQ(told.code, err == VELA_ENOMEM ? 0 : err) << told.text;
        vela_clear_last_error(handle);
        return result;
    }
    owned<void> read_new(vela_handle *handle, const record_type &type, const std::string &text, u_int32 rules = 0) {
        void *instance = read(handle, type, nullptr, text, rules);
        EXPECT_EQ(err, 0u) << told.text;
        return hold(handle, instance, type.operations->destroy);
    }
    /** The fault of a text. */
    std::string fault_of(const char *type_name, const std::string &text, u_int32 rules = 0) {
        const record_type type(type_name);
        const auto instance = type.create(handle);
        EXPECT_EQ(read(handle, type, instance.get(), text, rules), nullptr) << text;
        return told.text;
    }

    const test_handle handle;
    told_fault told;
    u_int32 err = 0;
    char why[300] = "";
};

// ---- all types ------------------------------------------------------------------------------------------------------

constexpr u_int32 everything = PTP_CFG_JSON_STATE_FLAGS | PTP_CFG_JSON_VARIANTS;

TEST_F(Json, EveryRecordComesBackAsItWasWhateverItsValuesVariantsAndFlags) {
    for (const int8 level : {int8{0}, int8{1}, int8{127}}) {
        const level_domain domain(level);
        for (const u_int32 tracking : {u_int32{VELA_STTR_OFF}, u_int32{VELA_STTR_ON}}) {
            const test_handle older({.tracking = tracking, .domain = domain.get()});
            const test_handle newest({.tracking = tracking});
            for (const ptp_cfg_type_kind kind : {PTP_CFG_STRUCTURE, PTP_CFG_MESSAGE}) {
                for (const record_type &type : record_types(kind)) {
                    for (const filling how : {filling::minimum, filling::maximum, filling::random}) {
                        const auto instance = type.create(older);
                        fill(type, older, instance.get(), how, 7);
                        if (tracking == VELA_STTR_ON) {
                            set_flags(type, older, instance.get());
                        }
                        const u_int32 indent = how == filling::random ? 2 : 0;
                        const std::string text = write(older, type, instance.get(), everything, indent);
                        const auto back = read_new(newest, type, text, everything | u_int32{PTP_CFG_JSON_ALL_FIELDS});
                        ASSERT_EQ(type.marshal(newest, back.get()), type.marshal(older, instance.get()))
                            << type.about.name << " of level " << int{level} << "\n"
                            << text;
                    }
                }
            }
        }
    }
}

TEST_F(Json, EveryCutOfATextIsAFaultThatChangesNothing) {
    for (const ptp_cfg_type_kind kind : {PTP_CFG_STRUCTURE, PTP_CFG_MESSAGE}) {
        for (const record_type &type : record_types(kind)) {
            const auto filled = type.create(handle);
            fill(type, handle, filled.get(), filling::random, 3);
            const std::string text = write(handle, type, filled.get());
            const auto other = type.create(handle);
            const octets before = type.marshal(handle, other.get());
            const size_t step = std::max<size_t>(text.size() / 400, 1);  // long lists: not at each of 40 000
            for (size_t length = 0; length < text.size(); length += step) {
                ASSERT_EQ(read(handle, type, other.get(), text.substr(0, length)), nullptr) << text.substr(0, length);
                ASSERT_EQ(read(handle, type, nullptr, text.substr(0, length)), nullptr);
                ASSERT_LE(told.offset, length);
            }
            ASSERT_EQ(type.marshal(handle, other.get()), before) << type.about.name;
        }
    }
}

TEST_F(Json, EveryLiteralIsReadByNameAndByNumber) {
    for (const record_type &type : record_types(PTP_CFG_ENUMERATION)) {
        ptp_cfg_literal literal;
        for (u_int32 i = 0; ptp_cfg_literal_describe(type.type, i, &literal) != 0; ++i) {
            const std::string name = '"' + std::string(literal.literal) + '"';
            const auto by_name = read_new(handle, type, name);
            const auto by_number = read_new(handle, type, std::to_string(literal.number));
            EXPECT_EQ(type.operations->compare(by_name.get(), by_number.get()), 0);
            EXPECT_EQ(write(handle, type, by_number.get()), name);
        }
        EXPECT_EQ(write(handle, type, read_new(handle, type, "4294967295").get()), "4294967295");
    }
}

// ---- forms ----------------------------------------------------------------------------------------------------------

TEST_F(Json, ValuesAreWrittenAsPeopleWriteThem) {
    const struct {
        const char *type;
        const char *read;
        const char *written;  // as a part
    } rows[] = {
        {"ptp_clock_quality", R"({"clock_class": 6, "offset_scaled_log_var": -2, "clock_accuracy": 6})",
         R"({"clock_class":6,"offset_scaled_log_var":-2,"clock_accuracy":"VELA_PTP_CLOCK_ACCURACY_WITHIN_10us"})"},
        {"ptp_clock_identity", R"("aA-bb-CC-ff-fe-00-03-30")", R"("AA-BB-CC-FF-FE-00-03-30")"},
        {"ptp_clock_identity", R"({"ptp_clk_id":[1,2,3]})", R"("01-02-03-00-00-00-00-00")"},
        {"ptp_clock", R"({"clock_handle": 18446744073709551615})", R"("clock_handle":"18446744073709551615")"},
        {"ptp_clock", R"({"clock_handle": "18446744073709551615", "modify":true})", R"({"modify":true,)"},
        {"ptp_port", R"({"\u0070ort_name": "a\"\\\/\n\u00e9\ud83d\ude00"})", "\"a\\\"\\\\/\\u000aé😀\""},
        {"ptp_port", R"({"port_name": {"$bytes": "00fFc3"}})", R"("port_name":{"$bytes":"00ffc3"})"},
        {"ptp_port", R"({"port_name": {"$bytes": "6162"}})", R"("port_name":"ab")"},
        {"ptp_port", R"({"vrf": "1:254:1:1"})", R"("vrf":"1:254:1:1")"},
        {"ptp_ipv4_stream_id", R"({"addr": "192.0.2.1"})", R"("addr":"192.0.2.1")"},
        {"ptp_ipv4_stream_id", R"({"addr": 3221225985})", R"("addr":"192.0.2.1")"},
        {"ptp_ip_stream_id", R"({"addr": "fe80::1%3"})", R"("addr":"fe80::1%3")"},
    };
    for (const auto &row : rows) {
        const record_type type(row.type);
        const std::string text = write(handle, type, read_new(handle, type, row.read).get());
        EXPECT_NE(text.find(row.written), std::string::npos) << text;
    }
}

TEST_F(Json, IndentedTextHasALineForEachMember) {
    const record_type type("ptp_clock_delete_cmd_message");
    const auto message = type.create(handle);
    const std::string text = write(handle, type, message.get(), PTP_CFG_JSON_QUALIFIED, 2);
    EXPECT_EQ(text.substr(0, text.find('"', text.find("clock_delete\": "))),
              "{\n  \"ptp_cfg:ptp_clock_delete_cmd\": {\n    \"ptp_clock_delete");
    EXPECT_EQ(text.substr(text.size() - 11), "    }\n  }\n}");
    EXPECT_EQ(ptp_cfg_json_identify(text.data(), text.size()), type.type);
    EXPECT_EQ(ptp_cfg_json_identify(" {\"ptp_clock_delete_cmd\"", 24), type.type);
    EXPECT_EQ(ptp_cfg_json_identify("{\"ptp_clock\":1}", 15), nullptr);
    EXPECT_EQ(ptp_cfg_json_identify("", 0), nullptr);
    read_new(handle, type, text);
}

TEST_F(Json, AbsentMembersStayAndAbsentPayloadsGo) {
    const record_type quality("ptp_clock_quality");
    const auto instance = read_new(handle, quality, R"({"clock_class":7,"offset_scaled_log_var":5})");
    EXPECT_EQ(read(handle, quality, instance.get(), R"( { "offset_scaled_log_var" : -5 } )"), instance.get());
    EXPECT_NE(write(handle, quality, instance.get()).find(R"({"clock_class":7,"offset_scaled_log_var":-5)"),
              std::string::npos);

    const record_type message("ptp_clock_cfg_message");
    const std::string absent = R"({"ptp_clock_cfg":{"ptp_clock":null}})";
    EXPECT_EQ(write(handle, message, read_new(handle, message, absent).get()), absent);
    EXPECT_EQ(read(handle, message, nullptr, R"({"ptp_clock_cfg":{}})"), nullptr);
    read_new(handle, message, R"({"ptp_clock_cfg":{"x":[{"y":[]},1e5]}})", PTP_CFG_JSON_SKIP_UNKNOWN);
}

// ---- faults ---------------------------------------------------------------------------------------------------------

TEST_F(Json, FaultsHaveTheirPlaceTheirPathAndWhatToDo) {
    const struct {
        const char *type;
        std::string text;
        const char *told;
    } rows[] = {
        {"ptp_clock_quality", "", "1:1: : the text ends where an object is wanted"},
        {"ptp_clock_quality", "[]", "1:1: : an object is wanted, not an array"},
        {"ptp_clock_quality", "\xEF\xBB\xBF{}", "1:1: : an object is wanted, not the byte ef"},
        {"ptp_clock_quality", std::string("{\0}", 3), "1:2: : not well-formed: a member's name in quotes is wanted"},
        {"ptp_clock_quality", "{}{}", "1:3: : not well-formed: something follows behind the value"},
        {"ptp_clock_quality", "{\"clock_class\":1,}", "1:18: : not well-formed: a member's name in quotes is wanted"},
        {"ptp_clock_quality", "{\"clock_class\" 1}", "1:16: clock_class: not well-formed: ':' is wanted"},
        {"ptp_clock_quality", "{\"clock_class\":1 \"a\":1}", "1:18: : not well-formed: ',' or '}' is wanted"},
        {"ptp_clock_quality", "{\n  \"clock_clas\": 1}",
         "2:3: clock_clas: unknown member of ptp_clock_quality; did you mean clock_class?"},
        {"ptp_clock_quality", "{\"z\\u0001\": 1}", "1:2: z?: unknown member of ptp_clock_quality; leave it out"},
        {"ptp_clock_quality", "{\"$state\": {}}", "1:2: $state: is not read here; leave it out, or ask for it"},
        {"ptp_clock_quality", "{\"clock_class\":1,\n\"clock_class\":1}",
         "2:1: clock_class: stands here a second time; keep one"},
        {"ptp_clock_quality", "{\"clock_class\":1,\"clock_clas\\u0073\":1}",
         "1:18: clock_class: stands here a second time; keep one"},
        {"ptp_clock_quality", "{\"clock_class\":256}", "1:16: clock_class: 256 is not a u_int8 (0 to 255)"},
        {"ptp_clock_quality", "{\"clock_class\":-1}", "1:16: clock_class: -1 is not a u_int8 (0 to 255)"},
        {"ptp_clock_quality", "{\"clock_class\":1" + std::string(99, '0') + "}",
         "1:16: clock_class: 1000000000000000000000000000000000000000... is not a u_int8 (0 to 255)"},
        {"ptp_clock_quality", "{\"clock_class\":1.0}", "1:16: clock_class: a whole number is wanted, not 1.0"},
        {"ptp_clock_quality", "{\"clock_class\":01}", "1:16: clock_class: a whole number is wanted, not 01"},
        {"ptp_clock_quality", "{\"clock_class\":\"1\"}",
         "1:16: clock_class: a whole number is wanted, not the text \"1\""},
        {"ptp_clock_quality", "{\"clock_class\":null}", "1:16: clock_class: a whole number is wanted, not null"},
        {"ptp_clock_quality", "{\"offset_scaled_log_var\":-32769}",
         "1:26: offset_scaled_log_var: -32769 is not a int16 (-32768 to 32767)"},
        {"ptp_clock_quality", "{\"clock_accuracy\":\"VELA_PTP_CLOCK_ACCURACY_WITHIN_10uss\"}",
         "1:19: clock_accuracy: unknown literal of ptp_clock_accuracy; did you mean "
         "VELA_PTP_CLOCK_ACCURACY_WITHIN_10us?"},
        {"ptp_clock_quality", "{\"clock_accuracy\":4294967296}",
         "1:19: clock_accuracy: a literal's number from 0 to 4294967295 is wanted"},
        {"ptp_clock_quality", "{\"clock_accuracy\":true}",
         "1:19: clock_accuracy: a literal in quotes, or its number, is wanted, not true"},
        {"ptp_clock", "{\"modify\":1}", "1:11: modify: true or false is wanted, not 1"},
        {"ptp_clock", "{\"clock_handle\":\"18446744073709551616\"}",
         "1:17: clock_handle: 18446744073709551616 is not a u_int64 (0 to 18446744073709551615)"},
        {"ptp_clock", "{\"clock_handle\":\"0x10\"}",
         "1:17: clock_handle: a whole number, as digits in quotes, is wanted, not the text \"0x10\""},
        {"ptp_clock", "{\"default_data_set\":{\"clk_id\":\"AA-BB-CC-FF-FE-00-03\"}}",
         "1:31: default_data_set/clk_id: 'AA-BB-CC-FF-FE-00-03' is not 8 bytes as AA-BB-CC-FF-FE-00-03-30"},
        {"ptp_clock", "{\"default_data_set\":{\"clk_id\":{\"ptp_clk_id\":[1,2,3,4,5,6,7,8,9]}}}",
         "1:62: default_data_set/clk_id/ptp_clk_id[8]: one too many; at most 8 are allowed"},
        {"ptp_port", "{\"port_name\":\"\xC3(\"}", "1:15: port_name: not well-formed: bytes that are no UTF-8"},
        {"ptp_port", "{\"port_name\":\"a\\u0000\"}",
         "1:16: port_name: not well-formed: a NUL has no place in a string"},
        {"ptp_port", "{\"port_name\":\"a\nb\"}",
         "1:16: port_name: not well-formed: a control character has no place in a string; \\u and four digits stand "
         "for it"},
        {"ptp_port", "{\"port_name\":\"\\ud800x\"}",
         "1:15: port_name: not well-formed: is the first half of a character without the second"},
        {"ptp_port", "{\"port_name\":\"\\q\"}",
         "1:15: port_name: not well-formed: is no escape; a backslash is written as \\\\"},
        {"ptp_port", "{\"port_name\":{\"$bytes\":\"4\"}}",
         "1:14: port_name: \"$bytes\" holds pairs of hexadecimal digits, and stands alone"},
        {"ptp_port", "{\"port_name\":\"" + std::string(256, 'x') + "\"}",
         "1:14: port_name: 256 bytes are more than the 255 it can hold"},
        {"ptp_port", "{\"vrf\":\"red\"}",
         "1:8: vrf: 'red' is not a vrf_info (ID:TABLE:AFI:SAFI, four numbers, as 1:254:1:1)"},
        {"ptp_clock_cfg_message", "{\"ptp_clock\":{}}",
         "1:2: ptp_clock: is not the message that is read here; \"ptp_clock_cfg\" is wanted"},
        {"ptp_clock_cfg_message", "{\"ptp_clock_cfg\":{\"ptp_port\":{}}}",
         "1:19: ptp_clock_cfg/ptp_port: unknown member of ptp_clock_cfg; \"ptp_clock\" is known"},
        {"ptp_clock_cfg_message", "{\"ptp_clock_cfg\":{}}", "1:18: ptp_clock_cfg: \"ptp_clock\" is missing; add it"},
        {"ptp_clock_cfg_message", "{\"ptp_clock_cfg\":{\"ptp_clock\":{}},\"x\":1}",
         "1:35: ptp_clock_cfg: a message has one member; begin another message for what stands here"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(fault_of(row.type, row.text), row.told);
    }
    EXPECT_STREQ(why,
                 "line 1, column 35: ptp_clock_cfg: a message has one member; begin another message for what stands "
                 "here");
    EXPECT_EQ(fault_of("ptp_clock_quality", "{\"clock_class\":1}", PTP_CFG_JSON_ALL_FIELDS),
              "1:1: : \"offset_scaled_log_var\" is missing; add it");
    EXPECT_EQ(fault_of("ptp_clock_quality", "{\"clock_class\":1,\"$variant\":0}", PTP_CFG_JSON_VARIANTS),
              "1:18: $variant: belongs at the begin of the object");
}

TEST_F(Json, WhatIsNewerThanTheInstanceIsRefused) {
    const level_domain domain(0);
    const test_handle older({.domain = domain.get()});
    const record_type type("ptp_clock_time_properties_data_set");
    const auto instance = type.create(older);
    EXPECT_EQ(read(older, type, instance.get(), "{\"v_port_index\":3}"), nullptr);
    EXPECT_EQ(err, u_int32{VELA_EEPOCH});
    EXPECT_EQ(told.text.substr(0, 42), "1:2: v_port_index: needs variant 1 of ptp_");
    const auto newest = read_new(handle, type, "{\"$variant\":0}", PTP_CFG_JSON_VARIANTS);
    EXPECT_EQ(type.marshal(handle, newest.get()), type.marshal(older, instance.get()));
}

TEST_F(Json, DepthAndLengthOfATextAreNoMatter) {
    const u_int32 skips = PTP_CFG_JSON_SKIP_UNKNOWN;
    for (const char *bracket : {"[", "{\"a\":"}) {
        std::string deep = "{\"x\":";
        for (int i = 0; i < 200000; ++i) {
            deep += bracket;
        }
        fault_of("ptp_clock_quality", deep);
        EXPECT_NE(fault_of("ptp_clock_quality", deep, skips).find("x: not well-formed: is nested more than 64 deep"),
                  std::string::npos);
    }
    const std::string huge(1 << 23, '1');
    fault_of("ptp_clock_quality", "{\"clock_class\":" + huge + "}");
    fault_of("ptp_clock_quality", "{\"" + huge + "\":1}");
    fault_of("ptp_port", "{\"port_name\":\"" + huge + "\"}");
    read_new(handle, record_type("ptp_clock_quality"), "{\"x\":[" + huge + "]}", skips);
}

TEST_F(Json, WithoutMemoryForATextNothingChanges) {
    const record_type type("ptp_port");
    vela_handle_options options = {};
    options.size = sizeof options;
    options.memory_budget = 4096;
    vela_handle *poor = vela_handle_create(&options, &err);
    ASSERT_NE(poor, nullptr);
    void *instance = type.operations->create(poor, mem_class);
    const std::string first = R"({"port_name":"first","port_num":1})";
    ASSERT_EQ(read(poor, type, instance, first), instance) << told.text;
    const std::string before = write(poor, type, instance);
    // Blocks of other types take what is left.
    const record_type little("ptp_clock_delete");
    std::vector<void *> blocks;
    while (void *block = little.operations->create(poor, mem_class)) {
        blocks.push_back(block);
    }
    EXPECT_EQ(read(poor, type, instance, "{\"port_num\":2,\"port_name\":\"" + std::string(200, 'x') + "\"}"), nullptr);
    EXPECT_EQ(err, u_int32{VELA_ENOMEM});
    EXPECT_EQ(read(poor, type, nullptr, first), nullptr);
    EXPECT_EQ(err, u_int32{VELA_ENOMEM});
    EXPECT_EQ(write(poor, type, instance), before);
    for (void *block : blocks) {
        little.operations->destroy(poor, mem_class, block);
    }
    type.operations->destroy(poor, mem_class, instance);
    vela_handle_report report = {};
    vela_handle_destroy(poor, &report);
    EXPECT_EQ(report.blocks, 0u);
}

TEST_F(Json, UnknownOptionsAndNoInstanceAreRefused) {
    const record_type type("ptp_clock_quality");
    const auto instance = type.create(handle);
    ptp_cfg_json_options options = options_of(32);
    EXPECT_EQ(ptp_cfg_to_json(handle, mem_class, type.type, instance.get(), why, sizeof why, &options, &err), 0u);
    EXPECT_EQ(err, u_int32{VELA_EINVAL});
    err = 0;
    options = options_of(0, 17);
    EXPECT_EQ(ptp_cfg_from_json(handle, mem_class, type.type, nullptr, "{}", 2, &options, &err, nullptr, 0), nullptr);
    EXPECT_EQ(err, u_int32{VELA_EINVAL});
    err = 0;
    EXPECT_EQ(ptp_cfg_to_json(handle, mem_class, type.type, nullptr, why, sizeof why, nullptr, &err), 0u);
    EXPECT_EQ(err, u_int32{VELA_EINVAL});
    EXPECT_EQ(ptp_cfg_to_json(handle, mem_class, type.type, instance.get(), why, sizeof why, nullptr, &err), 0u)
        << "the error word is set";
}

}  // namespace
}  // namespace ptp_cfg_test
