// What a control plane is told of a clock that runs: every report of the catalogue of behaviours.
#include <set>

#include "agent/intent/behaviour.h"
#include "elements.h"

namespace ptp_agent::test {
namespace {

class RealReports : public RealElements {};

TEST_F(RealReports, AreThoseThatTheCatalogueNames) {
    Element &master = add_grandmaster("gm"), &element = elements_.add("bc");
    elements_.connect(master, "ptp0", element, "ptp0");
    element.start();
    std::vector<Record> messages;
    messages.push_back(example(handle_, "g8275_1_boundary_clock.xml"));
    messages.push_back(example(handle_, "g8275_1_port.xml"));
    messages.push_back(rates(handle_, 1, -3, -4));
    element.send(messages);
    ASSERT_TRUE(wait_locked(element, 10000)) << element.log();
    std::set<std::string> told;
    for (const Report &report : element.reports()) {
        told.emplace(report.name());
    }
    for (const Behaviour &behaviour : behaviours()) {
        // Time is set and stepped by a daemon that may do so; that of a test may not.
        const bool is_of_steps =
            behaviour.message == "ptp_set_time_event" || behaviour.message == "ptp_step_time_event";
        const bool is_reported = behaviour.kind == Behaviour::Kind::Reported;
        if (!is_of_steps) {
            EXPECT_EQ(told.contains(std::string(behaviour.message)), is_reported) << behaviour.message;
        }
    }
    EXPECT_EQ(element.last("ptp_clk_data_set", "default_ds.clk_domain"), "24");
    EXPECT_EQ(element.last("ptp_port_data_set_info", "log_announce_interval"), "-3");
    EXPECT_EQ(element.last("ptp_clk_local_time_properties_ds_msg", "currentUtcOffset"), "37");
    EXPECT_EQ(element.last("ptp_clk_time_properties_ds_msg", "timeSource"), "GPS");
    EXPECT_EQ(element.last("ptp_foreign_master_record_msg", "qualified"), "true");
    EXPECT_EQ(element.last("ptp_foreign_master_record_msg", "compare_data.grand_master_quality.clock_class"), "6");
}

}  // namespace
}  // namespace ptp_agent::test
