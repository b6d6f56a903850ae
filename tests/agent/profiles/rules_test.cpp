// Each rule finds what it is there for, and nothing else; and the C interface over them.
#include <gmock/gmock.h>

#include <functional>
#include <map>
#include <set>

#include "agent/intent/fields.h"
#include "agent/profiles/judged_set.h"
#include "agent/profiles/rule.h"
#include "ptp_validate.h"
#include "support/messages.h"

namespace ptp_agent::test {
namespace {

using testing::Contains;
using testing::Field;
using testing::IsEmpty;

const std::vector<std::string> rule_files = {"every_clock.toml", "ptp4l.toml", "default.toml", "g8275_1.toml",
                                             "g8275_2.toml"};

/** A clock of a profile with ports, a stream and a virtual port, all as the rules want them. */
class Element : public Wishes {
  public:
    explicit Element(int profile) {
        static const std::map<int, std::string> files = {{0, "default_profile_ordinary_clock.xml"},
                                                         {4, "g8275_1_boundary_clock.xml"},
                                                         {5, "g8275_2_boundary_clock.xml"}};
        records.emplace("clock", example(handle, files.at(profile)));
        records.at("clock").set("clock_handle", 1);
        records.emplace("port", port(handle, 1, "eth1"));
        records.emplace("stream", message(handle, "ptp_stream_cfg",
                                          {{"port_handle", 1},
                                           {"log_announce_intrvl", profile == 5 ? 0 : -3},
                                           {"log_sync_interval", -4},
                                           {"log_min_delay_req_interval", -4}}));
        if (profile == 5) {
            records.at("stream").set("unicast", 1);
            set_ip(records.at("stream"), "dest_addr", "192.0.2.1");
        }
        records.emplace("virtual_port",
                        message(handle, "ptp_virtual_port_cfg", {{"clk_handle", 1}, {"local_priority", 128}}));
        records.emplace("ptp_utc_offset_cmd", message(handle, "ptp_utc_offset_cmd", {{"utc_offset", 37}}));
    }

    /** Rules that the element breaks. */
    std::set<std::string> broken() {
        for (const char *object : {"clock", "port", "stream", "virtual_port", "ptp_utc_offset_cmd"}) {
            const Record &record = records.at(object);
            EXPECT_THAT(merge(intent, record.type(), record.message(), record.handle()).violations, IsEmpty());
        }
        for (const Record &each : more) {
            EXPECT_THAT(merge(intent, each.type(), each.message(), each.handle()).violations, IsEmpty());
        }
        std::set<std::string> names;
        for (const Violation &violation : rules.check(intent)) {
            names.insert(violation.rule);
        }
        return names;
    }

    std::map<std::string, Record> records;
    std::vector<Record> more;
};

/** What breaks a rule: fields of an object, or something else. */
struct Break {
    std::string object;
    std::vector<std::pair<std::string, std::int64_t>> values;
    std::function<void(Element &)> also;
};

void add_port(Element &element) { element.more.push_back(port(element.handle, 2, "eth2")); }

/** For each rule what breaks it, alone or with others that the same fact breaks. */
const std::map<std::string, std::pair<int, Break>> &breaks() {
    static const std::string data_set = "default_data_set.";
    static const std::string quality = "default_data_set.clock_quality.";
    static const auto name_same = [](Element &element) { element.more.push_back(port(element.handle, 2, "eth1")); };
    static const std::map<std::string, std::pair<int, Break>> all = {
        {"ieee1588/port-number",
         {4,
          {"port",
           {{"port_num", 255}},
           [](Element &element) { element.records.at("stream").set("port_handle", 255); }}}},
        {"ieee1588/number-of-ports", {4, {"clock", {{data_set + "numberPorts", 1}}, add_port}}},
        {"ieee1588/ordinary-clock", {0, {"clock", {{data_set + "numberPorts", 2}}, add_port}}},
        {"ieee1588/slave-only-boundary",
         {0, {"clock", {{"clk_type", 2}, {data_set + "slv_only", 1}, {quality + "clock_class", 255}}, {}}}},
        {"ieee1588/slave-only-class", {0, {"clock", {{data_set + "slv_only", 1}}, {}}}},
        {"ieee1588/master-class", {0, {"clock", {{quality + "clock_class", 255}}, {}}}},
        {"ieee1588/leap-second",
         {0,
          {"ptp_utc_offset_cmd", {{"leap_second_offset", 2}, {"leap_second_month", 6}, {"leap_second_day", 30}}, {}}}},
        {"ieee1588/leap-second-month",
         {0,
          {"ptp_utc_offset_cmd", {{"leap_second_offset", 1}, {"leap_second_month", 13}, {"leap_second_day", 30}}, {}}}},
        {"ieee1588/leap-second-day",
         {0,
          {"ptp_utc_offset_cmd", {{"leap_second_offset", -1}, {"leap_second_month", 6}, {"leap_second_day", 1}}, {}}}},
        {"ieee1588/utc-offset", {0, {"ptp_utc_offset_cmd", {{"utc_offset", 40000}}, {}}}},
        {"ieee1588/interface",
         {0,
          {"port", {}, [](Element &element) { set_text(element.records.at("port"), "port_name", "no interface"); }}}},
        {"ieee1588/one-port-per-interface", {4, {"port", {}, name_same}}},
        {"ptp4l/version", {0, {"clock", {{"clk_version", 1}}, {}}}},
        {"ptp4l/port-version", {0, {"port", {{"ptp_version", 1}}, {}}}},
        {"ptp4l/profile", {0, {"clock", {{"clk_profile", 3}}, {}}}},
        {"ptp4l/type", {0, {"clock", {{"clk_type", 5}}, {}}}},
        {"ptp4l/encapsulation", {0, {"port", {{"encap", 3}}, {}}}},
        {"ptp4l/stream-encapsulation",
         {0, {"port", {{"encap", 1}}, [](Element &element) { element.records.at("stream").set("encap", 2); }}}},
        {"ptp4l/delay-mechanism", {0, {"port", {{"delay_mechanism", 2}}, {}}}},
        {"ptp4l/transparent-delay-mechanism", {0, {"clock", {{"clk_type", 3}}, {}}}},
        {"ptp4l/acceptable-masters", {0, {"port", {{"acceptable_master_table_enabled", 1}}, {}}}},
        {"ptp4l/acceptable-slaves", {0, {"port", {{"acceptable_slave_table_enabled", 1}}, {}}}},
        {"ptp4l/alternate-master", {0, {"port", {{"alternate_master", 1}}, {}}}},
        {"ptp4l/not-slave-and-slave", {0, {"port", {{"not_slave", 1}, {"port_role", 2}}, {}}}},
        {"ptp4l/unicast-peer", {0, {"stream", {{"unicast", 1}}, {}}}},
        {"ptp4l/unicast-peer-mac",
         {0, {"stream", {{"unicast", 1}}, [](Element &element) { element.records.at("port").set("encap", 4); }}}},
        {"default/domain", {0, {"clock", {{data_set + "clk_domain", 128}}, {}}}},
        {"default/announce-interval", {0, {"stream", {{"log_announce_intrvl", 5}}, {}}}},
        {"default/announce-receipt-timeout", {0, {"stream", {{"announce_receipt_timeout", 1}}, {}}}},
        {"default/sync-interval", {0, {"stream", {{"log_sync_interval", -8}}, {}}}},
        {"default/delay-request-interval", {0, {"stream", {{"log_min_delay_req_interval", 6}}, {}}}},
        {"default/clock-class", {0, {"clock", {{quality + "clock_class", 135}}, {}}}},
        {"g8275.1/domain", {4, {"clock", {{data_set + "clk_domain", 44}}, {}}}},
        {"g8275.1/priority1", {4, {"clock", {{data_set + "priority1", 127}}, {}}}},
        {"g8275.1/local-priority", {4, {"clock", {{data_set + "local_priority", 0}}, {}}}},
        {"g8275.1/port-local-priority", {4, {"port", {{"local_priority", 0}}, {}}}},
        {"g8275.1/clock-class", {4, {"clock", {{quality + "clock_class", 187}, {"clk_type", 1}}, {}}}},
        {"g8275.1/boundary-clock-class", {4, {"clock", {{quality + "clock_class", 255}, {"clk_mode", 2}}, {}}}},
        {"g8275.1/accuracy-locked", {4, {"clock", {{quality + "clock_class", 6}}, {}}}},
        {"g8275.1/accuracy-unlocked", {4, {"clock", {{quality + "clock_accuracy", 2}}, {}}}},
        {"g8275.1/ethernet", {4, {"port", {{"encap", 1}}, {}}}},
        {"g8275.1/stream-ethernet", {4, {"stream", {{"encap", 1}}, {}}}},
        {"g8275.1/delay-mechanism", {4, {"port", {{"delay_mechanism", 1}}, {}}}},
        {"g8275.1/no-negotiation", {4, {"port", {{"ucast_neg.enabled", 1}}, {}}}},
        {"g8275.1/multicast", {4, {"stream", {{"unicast", 1}, {"encap", 4}}, {}}}},
        {"g8275.1/multicast-address",
         {4,
          {"stream",
           {},
           [](Element &element) {
               set_mac(element.records.at("stream"), "dest_mac_addr", {{2, 0, 0, 0, 0, 1}});
           }}}},
        {"g8275.1/announce-interval", {4, {"stream", {{"log_announce_intrvl", -2}}, {}}}},
        {"g8275.1/sync-interval", {4, {"stream", {{"log_sync_interval", -3}}, {}}}},
        {"g8275.1/delay-request-interval", {4, {"stream", {{"log_min_delay_req_interval", 0}}, {}}}},
        {"g8275.1/announce-receipt-timeout", {4, {"stream", {{"announce_receipt_timeout", 2}}, {}}}},
        {"g8275.1/virtual-port-local-priority", {4, {"virtual_port", {{"local_priority", 0}}, {}}}},
        {"g8275.2/domain", {5, {"clock", {{data_set + "clk_domain", 43}}, {}}}},
        {"g8275.2/priority1", {5, {"clock", {{data_set + "priority1", 0}}, {}}}},
        {"g8275.2/local-priority", {5, {"clock", {{data_set + "local_priority", 0}}, {}}}},
        {"g8275.2/port-local-priority", {5, {"port", {{"local_priority", 0}}, {}}}},
        {"g8275.2/clock-class", {5, {"clock", {{quality + "clock_class", 52}}, {}}}},
        {"g8275.2/ip",
         {5,
          {"port",
           {{"encap", 4}},
           [](Element &element) {
               set_mac(element.records.at("stream"), "dest_mac_addr", {{2, 0, 0, 0, 0, 1}});
           }}}},
        {"g8275.2/delay-mechanism", {5, {"port", {{"delay_mechanism", 1}}, {}}}},
        {"g8275.2/unicast", {5, {"stream", {{"unicast", 0}}, {}}}},
        {"g8275.2/announce-interval", {5, {"stream", {{"log_announce_intrvl", 1}}, {}}}},
        {"g8275.2/sync-interval", {5, {"stream", {{"log_sync_interval", 1}}, {}}}},
        {"g8275.2/delay-request-interval", {5, {"stream", {{"log_min_delay_req_interval", 1}}, {}}}},
        {"g8275.2/grant", {5, {"stream", {{"unicast_negotiation_duration", 59}}, {}}}},
    };
    return all;
}

TEST(Rules, FindNothingWrongWithAProperElement) {
    for (const int profile : {0, 4, 5}) {
        EXPECT_THAT(Element(profile).broken(), IsEmpty()) << profile;
    }
}

TEST(Rules, FindEachWhatItIsThereForAndNothingElse) {
    for (const auto &[rule, how] : breaks()) {
        SCOPED_TRACE(rule);
        Element element(how.first);
        for (const auto &[path, value] : how.second.values) {
            EXPECT_TRUE(element.records.at(how.second.object).set(path, value)) << path;
        }
        if (how.second.also) {
            how.second.also(element);
        }
        EXPECT_EQ(element.broken(), std::set<std::string>{rule});
    }
}

TEST(Rules, AreAllPlayedAndSayWhyAndWhere) {
    for (const std::string &file : rule_files) {
        const RuleSet set = read_rules(file);
        for (const Rule &rule : set.rules) {
            EXPECT_TRUE(breaks().contains(rule.id)) << rule.id;
            EXPECT_TRUE(set.kind == Violation::Kind::Daemon || !rule.reference.empty()) << rule.id;
        }
    }
}

TEST(Rules, NameOnlyFieldsThatExist) {
    Element element(5);
    for (const std::string &file : rule_files) {
        for (const Rule &rule : read_rules(file).rules) {
            std::vector<Condition> conditions = rule.only_if;
            conditions.push_back(rule.must);
            for (const Condition &condition : conditions) {
                std::string path = condition.field;
                std::string object = rule.object;
                for (const char *owner : {"clock", "port"}) {
                    if (path.starts_with(std::string(owner) + "/")) {
                        object = owner;
                        path = path.substr(object.size() + 1);
                    }
                }
                EXPECT_TRUE(path.starts_with("#") || element.records.at(object).shown(path) != "absent")
                    << rule.id << ": " << condition.field;
            }
        }
    }
}

TEST(Rules, CanJudgeByAnotherProfile) {
    Element element(4);
    element.broken();
    EXPECT_THAT(RuleBook("default").check(element.intent), IsEmpty());
    EXPECT_THAT(RuleBook("g8275.2").check(element.intent), Contains(Field("rule", &Violation::rule, "g8275.2/domain")));
    EXPECT_THROW(RuleBook("nothing"), std::invalid_argument);
}

// ---- the C interface -------------------------------------------------------------------------------------------------

TEST(Validation, JudgesWhatAllMessagesComeTo) {
    Element element(4);
    u_int32 err = 0;
    ptp_validation *validation = ptp_validation_create(nullptr, &err);
    const auto add = [&](const Record &record) {
        ptp_validation_add(validation, record.handle(), record.type(), record.message(), &err);
    };
    add(element.records.at("port"));
    ASSERT_EQ(ptp_validation_count(validation, &err), 1u) << "the port came before its clock";
    element.records.at("clock").set("default_data_set.clk_domain", 1);
    add(element.records.at("clock"));
    ASSERT_EQ(ptp_validation_count(validation, &err), 2u);
    ptp_violation violation{};
    violation.size = sizeof violation;
    ptp_validation_get(validation, 0, &violation, &err);
    EXPECT_EQ(violation.kind, PTP_VIOLATION_ORDER);
    EXPECT_STREQ(violation.object, "port 1");
    ptp_validation_get(validation, 1, &violation, &err);
    EXPECT_EQ(violation.kind, PTP_VIOLATION_PROFILE);
    EXPECT_STREQ(violation.rule, "g8275.1/domain");
    EXPECT_STREQ(violation.value, "1");
    EXPECT_THAT(violation.text, testing::HasSubstr("24 to 43"));
    EXPECT_EQ(err, 0u);
    ptp_validation_get(validation, 2, &violation, &err);
    EXPECT_EQ(err, u_int32{VELA_ENOENT});
    ptp_validation_destroy(validation);
}

TEST(Validation, RefusesWhatIsNoProfileAndNoMessage) {
    u_int32 err = 0;
    EXPECT_EQ(ptp_validation_create("nothing", &err), nullptr);
    EXPECT_EQ(err, u_int32{VELA_EINVAL});
    err = 0;
    ptp_validation *validation = ptp_validation_create("g8275.1", &err);
    Element element(4);
    ptp_validation_add(validation, element.handle.get(), ptp_cfg_type_find("ptp_clock"),
                       element.records.at("clock").payload(), &err);
    EXPECT_EQ(err, u_int32{VELA_EINVAL});
    EXPECT_EQ(ptp_validation_count(validation, &err), 0u) << "an error is there already";
    ptp_validation_destroy(validation);
}

}  // namespace
}  // namespace ptp_agent::test
