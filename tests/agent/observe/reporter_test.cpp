#include "agent/observe/reporter.h"
#include "ptp_cfg/data_sets.h"
#include "ptp_cfg/port_stream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <set>

namespace ptp_agent {
namespace {

constexpr std::uint64_t second = 1'000'000'000;
constexpr u_int32 whole = 0xFFFFFFFF;

/** The paths of a payload whose state flag is set. */
void collect_flags(const Record &record, const ptp_cfg_type *type, void *instance, const std::string &prefix,
                   std::set<std::string> &paths) {
    ptp_cfg_field_description field = {};
    field.size = sizeof field;
    for (u_int32 i = 0; ptp_cfg_field_describe(type, i, &field) != 0; ++i) {
        u_int32 err = 0;
        const u_int8 flag =
            ptp_cfg_field_state_flag_get(type, i, record.handle(), 0, instance, field.is_array ? whole : 0, &err);
        if (flag == 0) {
            continue;
        }
        const bool is_nested = field.kind == PTP_CFG_FIELD_STRUCTURE && !field.is_array;
        if (is_nested) {
            void *inner = ptp_cfg_field_get(type, i, record.handle(), 0, instance, 0, &err);
            collect_flags(record, field.type, inner, prefix + field.name + ".", paths);
        } else {
            paths.insert(prefix + field.name);
        }
    }
}

std::set<std::string> set_fields(const Report &report, u_int32 payload = 0) {
    std::set<std::string> paths;
    const Record &record = report.message;
    collect_flags(record, payload_type(record.type(), payload), payload_of(record, payload), "", paths);
    return paths;
}

SharedRecord configured(const SharedHandle &handle, const char *message,
                        const std::vector<std::pair<const char *, std::int64_t>> &values) {
    auto record = std::make_shared<Record>(handle, ptp_cfg_type_find(message));
    for (const auto &[path, value] : values) {
        EXPECT_TRUE(record->set(path, value)) << path;
    }
    return record;
}

class Reports : public testing::Test {
  protected:
    Reports() {
        now_.monotonic_ns = 100 * second;
        now_.wall_ns = 1'700'000'000 * second;
        now_.default_ds = DefaultDataSet{true, false, 1, 128, 127, 24, {248, 0xFE, 0xFFFF}, own_};
        now_.current_ds = CurrentDataSet{1, -3 * 65536, 0};
        now_.parent_ds = ParentDataSet{};
        now_.parent_ds->parent = {own_, 0};
        now_.time_properties = TimeProperties{};
        now_.time_status = TimeStatus{};
        PortObservation port;
        port.number = 1;
        port.data_set = PortDataSet{};
        port.data_set->state = PortState::Slave;
        port.counters = PortCounters{};
        port.counters->received[0] = 160;
        port.counters->sent[1] = 16;
        port.timestamping = std::uint8_t{1};
        now_.ports.push_back(port);
    }

    std::vector<Report> report(bool full = false) {
        ReportInput input;
        input.now = &now_;
        input.intent = intent_ ? &*intent_ : nullptr;
        input.clock_state = clock_state_;
        input.hears_masters = hears_;
        input.full = full;
        return reporter_.report(input);
    }

    /** Reports again, a second later. */
    std::vector<Report> report_later(std::uint64_t seconds = 1) {
        now_.monotonic_ns += seconds * second;
        now_.wall_ns += seconds * second;
        return report();
    }

    static std::vector<std::string> names(const std::vector<Report> &reports) {
        std::vector<std::string> result;
        for (const Report &each : reports) {
            result.push_back(each.row->message + (each.subject.empty() ? "" : " " + each.subject));
        }
        return result;
    }

    static const Report &find(const std::vector<Report> &reports, const std::string &name) {
        for (const Report &each : reports) {
            if (each.row->message == name) {
                return each;
            }
        }
        throw std::runtime_error("there is no " + name);
    }

    void configure_streams(unsigned count) {
        std::vector<SharedRecord> streams;
        for (unsigned i = 1; i <= count; ++i) {
            streams.push_back(configured(handle_, "ptp_stream_cfg", {{"stream_handle", i}}));
            ip_address address = {};
            address.family = VELA_IP_V4;
            address.bytes[0] = 192;
            address.bytes[3] = static_cast<u_int8>(i);
            u_int32 err = 0;
            ptp_stream_dest_addr_set(handle_.get(), 0, static_cast<ptp_stream *>(streams.back()->payload()), &address,
                                     &err);
            ASSERT_EQ(err, 0u);
        }
        intent_.emplace(configured(handle_, "ptp_clock_cfg", {{"default_data_set.local_priority", 77}}),
                        std::vector<PortIntent>{{configured(handle_, "ptp_port_cfg", {{"port_num", 5}}), streams}},
                        std::vector<VirtualPortIntent>{}, ElementSettings());
    }

    const ClockIdentity own_ = {1, 2, 3, 0xFF, 0xFE, 4, 5, 6};
    SharedHandle handle_ = make_tracking_handle();
    Reporter reporter_{handle_, 10 * second};
    Observation now_;
    std::optional<ClockIntent> intent_;
    std::optional<std::int64_t> clock_state_ = VELA_PTP_CLOCK_STATE_FREERUN;
    bool hears_ = false;
};

TEST_F(Reports, SayEverythingOnceAndThenNothingWhileNothingChanges) {
    EXPECT_THAT(
        names(report()),
        testing::ElementsAre("ptp_clk_data_set", "ptp_clk_default_ds_msg", "ptp_clk_current_ds_msg",
                             "ptp_clk_parent_ds_msg", "ptp_clk_time_properties_ds_msg", "ptp_clock_runtime_state_msg",
                             "ptp_port_data_set_info port 1", "ptp_port_runtime_state_msg port 1"));
    EXPECT_THAT(names(report_later()), testing::IsEmpty());
    EXPECT_EQ(report(true).size(), 8u);
}

TEST_F(Reports, SetStateFlagsForExactlyWhatChanged) {
    report();
    now_.default_ds->priority2 = 50;
    now_.default_ds->quality.clock_class = 6;
    now_.ports[0].data_set->state = PortState::Uncalibrated;
    const std::vector<Report> reports = report_later();
    EXPECT_THAT(names(reports),
                testing::ElementsAre("ptp_clk_data_set", "ptp_clk_default_ds_msg", "ptp_port_data_set_info port 1",
                                     "ptp_port_runtime_state_msg port 1"));
    EXPECT_THAT(set_fields(reports[0]),
                testing::ElementsAre("default_ds.clock_quality.clock_class", "default_ds.priority2"));
    EXPECT_EQ(reports[0].message.number("default_ds.priority2"), 50);
    EXPECT_THAT(set_fields(reports[2]), testing::ElementsAre("hdl")) << "which port it is";
    EXPECT_THAT(set_fields(reports[2], 1), testing::ElementsAre("port_state"));
    EXPECT_THAT(set_fields(reports[3], 1), testing::ElementsAre("port_state")) << "the role is the same";
}

TEST_F(Reports, LeaveFlagsClearOfWhatNobodySays) {
    now_.default_ds->quality.clock_accuracy = 0x90;  // the enumeration has nothing for it
    const std::vector<Report> reports = report();
    const std::set<std::string> fields = set_fields(find(reports, "ptp_clk_data_set"));
    EXPECT_FALSE(fields.contains("default_ds.clock_quality.clock_accuracy"));
    EXPECT_FALSE(fields.contains("default_ds.local_priority")) << "nothing was configured";
    EXPECT_FALSE(fields.contains("time_properties_data_set.v_port_index"));
    EXPECT_TRUE(fields.contains("default_ds.clk_id.ptp_clk_id"));
    EXPECT_THAT(set_fields(find(reports, "ptp_port_runtime_state_msg"), 1),
                testing::Not(testing::Contains("session_count")));
}

TEST_F(Reports, SayNothingOfADaemonThatIsSilentAndEverythingWhenItIsBack) {
    report();
    const Observation whole_observation = now_;
    now_ = Observation();
    now_.monotonic_ns = whole_observation.monotonic_ns;
    clock_state_ = VELA_PTP_CLOCK_STATE_HOLDOVER;
    EXPECT_THAT(names(report_later()), testing::ElementsAre("ptp_clock_runtime_state_msg"));
    now_ = whole_observation;
    EXPECT_EQ(report_later().size(), 8u);
}

TEST_F(Reports, LookAtCountersNowAndThen) {
    report();
    for (int i = 1; i < 10; ++i) {
        now_.ports[0].counters->received[0] += 16;
        EXPECT_THAT(names(report_later()), testing::IsEmpty());
    }
    const std::vector<Report> reports = report_later();
    EXPECT_THAT(names(reports),
                testing::ElementsAre("ptp_clock_runtime_state_msg", "ptp_port_runtime_state_msg port 1"));
    EXPECT_THAT(set_fields(reports[0]), testing::ElementsAre("pkts_rcvd", "ts"));
    EXPECT_EQ(reports[0].message.number("pkts_rcvd"), 160 + 9 * 16);
}

TEST_F(Reports, NameTheMasterNowAndTheOneBefore) {
    hears_ = true;
    const auto follow = [this](std::uint8_t last) {
        ForeignMaster heard;
        heard.sender = {{9, 9, 9, 0xFF, 0xFE, 9, 9, last}, 1};
        heard.mac = {2, 0, 0, 0, 0, last};
        heard.qualified = true;
        now_.foreign_masters.push_back(heard);
        now_.parent_ds->parent = heard.sender;
    };
    EXPECT_THAT(names(report()), testing::Not(testing::Contains("ptp_current_selected_master_event")))
        << "the first observation changes nothing";
    follow(1);
    report_later();
    now_.foreign_masters.clear();
    follow(2);
    const std::vector<Report> reports = report_later();
    EXPECT_EQ(reports[0].row->message, std::string("ptp_current_selected_master_event"));
    const Record &event = reports[0].message;
    EXPECT_EQ(event.shown("current_master_mac"), "02:00:00:00:00:02");
    EXPECT_EQ(event.shown("previous_master_mac"), "02:00:00:00:00:01");
    const Report &selection = find(reports, "ptp_bmca_data_msg");
    EXPECT_EQ(selection.message.number("num_qualified_master"), 1);
    EXPECT_EQ(selection.message.number("curr_mst.updated"), 1);
}

TEST_F(Reports, ListStreamsInPartsOfTen) {
    configure_streams(12);
    const std::vector<Report> reports = report();
    EXPECT_THAT(names(reports),
                testing::IsSupersetOf({"ptp_stream_runtime_state_msg part 1", "ptp_stream_runtime_state_msg part 2"}));
    const Record &first = find(reports, "ptp_stream_runtime_state_msg").message;
    EXPECT_EQ(first.number("cnt"), 10);
    u_int32 err = 0;
    auto *list = static_cast<ptp_ipv4_streams_arr *>(find(reports, "ptp_ipv4_streams_list_msg").message.payload());
    auto *last = ptp_ipv4_streams_arr_streams_get(handle_.get(), 0, list, 11, &err);
    EXPECT_EQ(ptp_ipv4_stream_id_stream_id_get_value(handle_.get(), 0, last, &err), 12u);
    EXPECT_EQ(ptp_ipv4_stream_id_addr_get_value(handle_.get(), 0, last, &err), 0xC000000Cu);
    EXPECT_EQ(err, 0u);
    EXPECT_EQ(find(reports, "ptp_port_data_set_info").subject, "port 5") << "as the control plane named it";
    EXPECT_EQ(find(reports, "ptp_clk_data_set").message.number("default_ds.local_priority"), 77);
    EXPECT_THAT(names(report_later()), testing::IsEmpty());
}

TEST_F(Reports, ListEveryStreamHoweverManyThereAre) {
    const auto listed = [this](const std::vector<Report> &reports, const std::string &message) {
        std::vector<std::vector<u_int32>> parts;
        u_int32 err = 0;
        for (const Report &each : reports) {
            if (each.row->message != message) {
                continue;
            }
            const ptp_cfg_type *structure = payload_type(each.message.type(), 0), *element = nullptr;
            std::vector<u_int32> &part = parts.emplace_back();
            for (u_int32 i = 0; i < capacity_of(structure, "streams", &element); ++i) {
                void *stream = ptp_cfg_field_get(structure, 0, handle_.get(), 0, each.message.payload(), i, &err);
                if (ptp_cfg_field_state_flag_get(structure, 0, handle_.get(), 0, each.message.payload(), i, &err) !=
                    0) {
                    part.push_back(
                        static_cast<u_int32>(ptp_cfg_field_get_value(element, 0, handle_.get(), 0, stream, 0, &err)));
                }
            }
        }
        EXPECT_EQ(err, 0u);
        return parts;
    };
    const auto numbers = [](u_int32 from, u_int32 to) {
        std::vector<u_int32> all(to + 1 - from);
        std::iota(all.begin(), all.end(), from);
        return all;
    };
    using testing::ElementsAre, testing::IsEmpty;
    configure_streams(130);
    const std::vector<Report> all = report();
    EXPECT_THAT(listed(all, "ptp_ip_streams_list_msg"),
                ElementsAre(numbers(1, 50), numbers(51, 100), numbers(101, 130)));
    EXPECT_THAT(listed(all, "ptp_ipv4_streams_list_msg"), ElementsAre(numbers(1, 128), numbers(129, 130)));
    EXPECT_THAT(names(report_later()), IsEmpty());
    configure_streams(50);
    EXPECT_THAT(listed(report_later(), "ptp_ip_streams_list_msg"), ElementsAre(numbers(1, 50)))
        << "or nobody would know that the others are gone";
    configure_streams(130);
    EXPECT_THAT(listed(report_later(), "ptp_ip_streams_list_msg").size(), 3);
}

TEST_F(Reports, GiveAStreamTheCountersOfItsPortWhereItIsAloneThere) {
    for (const unsigned count : {1u, 2u}) {
        configure_streams(count);
        const std::vector<Report> reports = report(true);
        u_int32 err = 0;
        auto *list = static_cast<ptp_stream_runtime_state_arr *>(
            find(reports, "ptp_stream_runtime_state_msg").message.payload());
        auto *stats = ptp_stream_runtime_state_stats_get(
            handle_.get(), 0, ptp_stream_runtime_state_arr_state_get(handle_.get(), 0, list, 0, &err), &err);
        EXPECT_EQ(ptp_msg_stats_sync_msg_rx_cnt_get_value(handle_.get(), 0, stats, &err), count == 1 ? 160u : 0u);
        EXPECT_EQ(ptp_msg_stats_sync_msg_rx_cnt_state_flag_get(handle_.get(), 0, stats, &err), count == 1 ? 2 : 0);
    }
}

TEST_F(Reports, TellOfJumpsOfTheClock) {
    now_.ports[0].timestamping = std::uint8_t{0};
    now_.ports[0].data_set->state = PortState::Uncalibrated;
    report();
    now_.wall_ns -= 2 * second + 250'000'000;
    std::vector<Report> reports = report_later();
    EXPECT_EQ(find(reports, "ptp_set_time_event").message.number("delta_time_sec"), 2);
    EXPECT_EQ(find(reports, "ptp_set_time_event").message.number("delta_time_nano_sec"), 250'000'000);
    EXPECT_EQ(find(reports, "ptp_set_time_event").message.number("negative"), 1);
    now_.ports[0].data_set->state = PortState::Slave;
    report_later();
    now_.wall_ns += 20'000'000;
    reports = report_later();
    EXPECT_EQ(find(reports, "ptp_step_time_event").message.number("delta_time_nano_sec"), 20'000'000);
    now_.wall_ns += 500'000;  // as a servo steers
    EXPECT_THAT(names(report_later()), testing::IsEmpty());
}

TEST_F(Reports, AreMadeOfRowsWhosePathsExist) {
    for (const auto &rows : {clock_report_rows(), port_report_rows(), master_report_rows()}) {
        for (const ReportRow &row : rows) {
            EXPECT_NO_THROW(ReportMaker{row}) << row.message;
        }
    }
}

}  // namespace
}  // namespace ptp_agent
