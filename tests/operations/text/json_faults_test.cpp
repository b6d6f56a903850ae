// Texts that are not JSON, or not that of the type: what is told of them, and what they leave.
#include "json_test.h"

namespace ptp_cfg_test {
namespace {

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

TEST_F(Json, FaultsInVariantsFlagsAndWhatIsSkipped) {
    constexpr u_int32 variants = PTP_CFG_JSON_VARIANTS, flags = PTP_CFG_JSON_STATE_FLAGS,
                      skips = PTP_CFG_JSON_SKIP_UNKNOWN;
    const struct {
        const char *type;
        u_int32 rules;
        const char *text;
        const char *told;
    } rows[] = {
        {"ptp_clock_quality", variants, R"({"$variant":9})", "1:13: $variant: a variant from 0 to 0 is wanted"},
        {"ptp_clock_quality", variants, R"({"$variant":-0})", "1:13: $variant: a variant from 0 to 0 is wanted"},
        {"ptp_clock_quality", variants, R"({"$variant":-129})", "1:13: $variant: a variant from 0 to 0 is wanted"},
        {"ptp_clock_quality", variants, R"({"$variant":-x})", "1:13: $variant: a variant from 0 to 0 is wanted"},
        {"ptp_clock_quality", variants, R"({"$variant":x})", "1:13: $variant: a variant is wanted, not x"},
        {"ptp_clock_quality", variants, R"({"$variant" 0})", "1:13: $variant: not well-formed: ':' is wanted"},
        {"ptp_clock_quality", variants, R"({"clock_accuracy":{"value":1}})",
         "1:19: clock_accuracy: not as {\"$variant\": NUMBER, \"value\": LITERAL}"},
        {"ptp_clock_quality", variants, R"({"clock_accuracy":{"$variant":0}})",
         "1:19: clock_accuracy: not as {\"$variant\": NUMBER, \"value\": LITERAL}"},
        {"ptp_clock_quality", variants, R"({"clock_accuracy":{"$variant":0,"x":1}})",
         "1:19: clock_accuracy: not as {\"$variant\": NUMBER, \"value\": LITERAL}"},
        {"ptp_clock_quality", variants, R"({"clock_accuracy":{"$variant":x,"value":1}})",
         "1:31: clock_accuracy: a variant is wanted, not x"},
        {"ptp_clock_quality", variants, R"({"clock_accuracy":{"$variant":0,"value":{}}})",
         "1:41: clock_accuracy: a literal in quotes, or its number, is wanted, not an object"},
        {"ptp_clock_quality", variants, R"({"clock_accuracy":{"$variant":0,"value":1,"x":1}})",
         "1:19: clock_accuracy: not as {\"$variant\": NUMBER, \"value\": LITERAL}"},
        {"ptp_clock_quality", flags, R"({"$state":[]})", "1:11: $state: an object is wanted, not an array"},
        {"ptp_clock_quality", flags, R"({"$state":{"x":1}})",
         "1:15: $state/x: is no field of ptp_clock_quality that is in use; leave it out"},
        {"ptp_clock_quality", flags, R"({"$state":{"clock_class":256}})",
         "1:26: $state/clock_class: a flag from 0 to 255 is wanted"},
        {"ptp_clock_quality", flags, R"({"$state":{"clock_class" 1}})",
         "1:26: $state/clock_class: not well-formed: ':' is wanted"},
        {"ptp_clock_quality", flags, R"({"$state":{"clock_class":1]})",
         "1:27: $state/clock_class: not well-formed: ',' or '}' is wanted"},
        {"ptp_clock_quality", flags, R"({"$state":{1:1}})",
         "1:12: $state: not well-formed: a member's name in quotes is wanted"},
        {"ptp_clock_quality", flags, R"({"$state":{},"$state":{}})",
         "1:14: $state: stands here a second time; keep one"},
        {"ptp_clock_identity", flags, R"({"$state":{"ptp_clk_id":1}})",
         "1:25: $state/ptp_clk_id: an array of flags, that of the array itself first, is wanted, not 1"},
        {"ptp_clock_identity", flags, R"({"$state":{"ptp_clk_id":[0,1,2,3,4,5,6,7,8,9]}})",
         "1:44: $state/ptp_clk_id: one flag too many; at most 9 are allowed"},
        {"ptp_clock_identity", flags, R"({"$state":{"ptp_clk_id":[0 1]}})",
         "1:28: $state/ptp_clk_id: not well-formed: ',' or ']' is wanted"},
        {"ptp_clock_identity", PTP_CFG_JSON_ALL_FIELDS, R"({"ptp_clk_id":[1,2]})",
         "1:15: ptp_clk_id: holds 2 of 8 elements; add the others"},
        {"ptp_clock_quality", skips, R"({"x":{1:1}})", "1:7: x: not well-formed: a member's name in quotes is wanted"},
        {"ptp_clock_quality", skips, R"({"x":{"a" 1}})", "1:11: x: not well-formed: ':' is wanted"},
        {"ptp_clock_quality", skips, R"({"x":[1 2]})",
         "1:9: x: not well-formed: ',' or the end of the value is wanted"},
        {"ptp_clock_quality", skips, R"({"x":[1)", "1:8: x: not well-formed: the text ends here"},
        {"ptp_clock_quality", skips, R"({"x":tru})", "1:6: x: not well-formed: a value is wanted"},
        {"ptp_clock_quality", skips, R"({"x":"a)", "1:8: x: not well-formed: the text ends within a string"},
        {"ptp_clock_quality", skips, R"({"x" 1})", "1:6: x: not well-formed: ':' is wanted"},
        {"ptp_port", 0, R"({"port_name":"\ude00"})",
         "1:15: port_name: not well-formed: is the second half of a character without the first"},
        {"ptp_port", 0, R"({"port_name":"\u00g0"})",
         "1:15: port_name: not well-formed: \\u wants four hexadecimal digits"},
        {"ptp_port", 0, R"({"port_name":7})", "1:14: port_name: a text in quotes is wanted, not 7"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(fault_of(row.type, row.text, row.rules), row.told) << row.text;
    }
    const record_type quality("ptp_clock_quality");
    const std::string odd = R"({"clock_class":3,"x":[{},[],{"a":[null,true,false,-1.5e+3,"\u00e4\ud83d\udd52"]},0]})";
    const auto instance = read_new(handle, quality, odd, skips);
    EXPECT_NE(write(handle, quality, instance.get()).find("\"clock_class\":3"), std::string::npos);
    const auto negative = read_new(handle, quality, R"({"$variant":-128})", variants);
    EXPECT_EQ(header(negative.get()).variant, -128);
    header(negative.get()).variant = 0;
}

TEST_F(Json, PayloadsThatAreNotThereLeaveTheMessage) {
    for (const record_type &type : record_types(PTP_CFG_MESSAGE)) {
        std::string absent;
        for (const ptp_cfg_field_description &payload : type.fields) {
            absent += std::string(absent.empty() ? "" : ",") + "\"" + payload.name + "\":null";
        }
        absent = std::string("{\"") + type.about.short_name + "\":{" + absent + "}}";
        const auto message = type.create(handle);
        EXPECT_EQ(read(handle, type, message.get(), absent), message.get()) << told.text;
        EXPECT_EQ(write(handle, type, message.get()), absent);
        EXPECT_EQ(ptp_cfg_json_identify(absent.data(), absent.size()), type.type);
    }
    for (const char *none : {"{\"\":1}", "{\"ptp_clock_cf\":1}", "[]", "{1"}) {
        EXPECT_EQ(ptp_cfg_json_identify(none, strlen(none)), nullptr) << none;
    }
    const std::string long_name = "{\"" + std::string(500, 'x') + "\":1}";
    EXPECT_EQ(ptp_cfg_json_identify(long_name.data(), long_name.size()), nullptr);
}

TEST_F(Json, AMessageThatFailsAtItsEndLeavesNothing) {
    for (const record_type &type : record_types(PTP_CFG_MESSAGE)) {
        const auto message = type.create(handle);
        fill(type, handle, message.get(), filling::random);
        std::string text = write(handle, type, message.get());
        text.replace(text.size() - 2, 2, ",\"x\":1}}");
        EXPECT_EQ(read(handle, type, nullptr, text), nullptr);
        EXPECT_EQ(err, u_int32{VELA_EINVAL}) << text;
        const octets before = type.marshal(handle, message.get());
        EXPECT_EQ(read(handle, type, message.get(), text), nullptr);
        EXPECT_EQ(type.marshal(handle, message.get()), before) << type.about.name;
    }
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
