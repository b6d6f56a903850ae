// What tests with whole elements share: the fixture, clocks as examples, and what must hold of every report.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <string>
#include <vector>

#include "support/element.h"
#include "support/messages.h"
#include "support/ptp4l_process.h"

namespace ptp_agent::test {

constexpr const char *clock_report = "ptp_clock_runtime_state_msg";
constexpr const char *port_report = "ptp_port_runtime_state_msg";
constexpr const char *own_report = "ptp_clk_default_ds_msg";
constexpr const char *parent_report = "ptp_clk_parent_ds_msg";
constexpr const char *locked = "PHASE_ALIGNED";

class RealElements : public testing::Test {
  protected:
    void SetUp() override {
        const std::string why_not = why_no_elements();
        if (!why_not.empty()) {
            GTEST_SKIP() << why_not;
        }
    }

    bool wait_until(const std::function<bool()> &holds, std::uint64_t timeout_ms = 5000) {
        return elements_.wait_until(holds, timeout_ms);
    }

    /** The field of the newest report that gave it is, or becomes, the value. */
    bool wait_for(const Element &element, const char *message, const char *path, const std::string &value,
                  std::uint64_t timeout_ms = 5000) {
        return wait_until([&] { return element.last(message, path) == value; }, timeout_ms);
    }
    bool wait_locked(const Element &element, std::uint64_t timeout_ms = 8000) {
        return wait_for(element, clock_report, "clock_state", locked, timeout_ms);
    }

    /** A grandmaster with a time source of class 6, on its interface ptp0. */
    Element &add_grandmaster(const std::string &name, const ElementOptions &options = {}) {
        Element &element = elements_.add(name, options);
        element.start();
        element.send_examples({"g8275_1_grandmaster.xml", "g8275_1_time_source.xml", "g8275_1_port.xml"});
        return element;
    }
    /** A boundary clock whose one port is ptp0. */
    Element &add_boundary(const std::string &name, const ElementOptions &options = {}) {
        Element &element = elements_.add(name, options);
        element.start();
        element.send_examples({"g8275_1_boundary_clock.xml", "g8275_1_port.xml"});
        return element;
    }

    Elements elements_;
    SharedHandle handle_ = make_handle();
};

/** Counts reports of a state in which the clock says that it is locked while its port is no slave. */
unsigned false_locks(const Element &element);

/** Sets an identity, aabbccfffe0003NN. */
void set_identity(Record &clock, int last_octet);

/** Rates of a port's streams, as logarithms. */
Record rates(const SharedHandle &handle, int port, int log_announce, int log_sync);

}  // namespace ptp_agent::test
