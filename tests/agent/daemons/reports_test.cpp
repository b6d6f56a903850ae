// What a control plane is told of a clock that runs: every report of the catalogue of behaviours.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <set>

#include "agent/intent/behaviour.h"
#include "base/file_descriptor.h"
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
        // Time is set and stepped by a daemon that may do so; that of a test may not, see below.
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

/** The system's clock as an agent reads it, which a test steps. */
class ShiftedClock {
  public:
    explicit ShiftedClock(std::string path) : path_(std::move(path)) { step(0); }
    void step(std::int64_t by_ns) {
        sum_ += by_ns;
        // In place: the agent has it mapped.
        const base::file_descriptor file(open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        EXPECT_EQ(pwrite(file.get(), &sum_, sizeof sum_, 0), static_cast<ssize_t>(sizeof sum_));
    }
    const std::string &path() const { return path_; }

  private:
    std::string path_;
    std::int64_t sum_ = 0;
};

TEST_F(RealReports, TellThatTheSystemsClockWasSetOrSteppedWhileTheDaemonStaysLocked) {
    ShiftedClock clock(elements_.folder() + "/shift");
    Element &master = elements_.add("gm"), &element = elements_.add("bc", {.clock_shift = clock.path()});
    elements_.connect(master, "ptp0", element, "ptp0");
    element.start();
    element.send_examples({"g8275_1_boundary_clock.xml", "g8275_1_port.xml"});
    ASSERT_TRUE(wait_for(element, "ptp_port_data_set_info", "port_state", "LISTENING")) << element.log();
    const auto near = [&](const char *event, long expected) {
        const long found = std::stol(element.last(event, "delta_time_nano_sec").value_or("-1"));
        return std::abs(found - expected) < 9'000'000 ? std::string() : std::to_string(found);
    };
    clock.step(-2'250'000'000);
    ASSERT_TRUE(wait_for(element, "ptp_set_time_event", "delta_time_sec", "2")) << element.log();
    EXPECT_EQ(near("ptp_set_time_event", 250'000'000), "");
    EXPECT_EQ(element.last("ptp_set_time_event", "negative"), "true");
    EXPECT_FALSE(element.last("ptp_step_time_event", "negative")) << "nobody was followed";

    master.start();
    master.send_examples({"g8275_1_grandmaster.xml", "g8275_1_time_source.xml", "g8275_1_port.xml"});
    ASSERT_TRUE(wait_locked(element, 10000)) << element.log();
    element.forget_reports();
    clock.step(50'000'000);
    ASSERT_TRUE(wait_for(element, "ptp_step_time_event", "negative", "false")) << element.log();
    EXPECT_EQ(element.last("ptp_step_time_event", "delta_time_sec"), "0");
    EXPECT_EQ(near("ptp_step_time_event", 50'000'000), "");
    elements_.wait_ms(1000);
    EXPECT_EQ(element.lock_state(), "locked");
    const auto is_step = [](const Report &report) { return report.name() == "ptp_step_time_event"; };
    EXPECT_EQ(std::count_if(element.reports().begin(), element.reports().end(), is_step), 1) << "said once";
}

}  // namespace
}  // namespace ptp_agent::test
