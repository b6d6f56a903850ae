// Makes of the model what an element's daemon would report, in the messages of the schema.
#pragma once

#include <functional>
#include <vector>

#include "network.h"
#include "ptp_cfg.hpp"
#include "report.h"

namespace ptp_fleet {

class report_maker {
  public:
    using sink = std::function<void(const report &)>;

    /** @param full_every  seconds after which an element reports everything again, changed or not */
    report_maker(std::uint32_t elements, std::uint32_t full_every, std::uint64_t start_ns);

    /** What all elements report after a second. */
    void report_second(const network &of, const sink &to);

  private:
    struct told {
        lock state = lock::freerun;
        announced best;
        std::uint32_t parent = 0;
        std::uint64_t packets = 0;
    };

    void report_element(const network &of, std::uint32_t number, const sink &to);
    void current(const element &of);
    void parent(const element &of);
    void defaults(const element &of, std::uint32_t number);
    void time_properties(const element &of);
    void state(const element &of, std::uint64_t packets, std::uint64_t now_ns);
    void selected_master(std::uint32_t now, std::uint32_t before);
    void step(double ns);
    template <class message>
    void send(const message &of, const char *name, std::uint32_t number, const sink &to);

    std::uint32_t full_every_;
    std::uint64_t start_ns_;
    std::vector<told> told_;
    std::vector<std::uint8_t> room_;
    ptp::handle handle_;
    ptp::clk_current_ds_msg_message current_;
    ptp::clk_parent_ds_msg_message parent_;
    ptp::clk_default_ds_msg_message default_;
    ptp::clk_time_properties_ds_msg_message time_properties_;
    ptp::clock_runtime_state_msg_message state_;
    ptp::current_selected_master_event_message selected_;
    ptp::step_time_event_message step_;
};

}  // namespace ptp_fleet
