// Records as JSON, and JSON as records.
#include <algorithm>

#include "json_test.h"
#include "ptp_cfg/clock.h"
#include "ptp_cfg/enumerations.h"

namespace ptp_cfg_test {
namespace {

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

}  // namespace
}  // namespace ptp_cfg_test
