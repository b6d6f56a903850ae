// What the control plane asked of one clock: a view of the records that concern it, which keeps them alive.
#pragma once

#include <memory>
#include <vector>

#include "agent/intent/record.h"

namespace ptp_agent {

using SharedRecord = std::shared_ptr<const Record>;

/** Settings that name no clock: each holds for every clock of the element. Null: never asked. */
struct ElementSettings {
    SharedRecord utc_offset;              ///< ptp_utc_offset_cmd
    SharedRecord utc_holdover_timeout;    ///< ptp_utc_holdover_timeout_cmd
    SharedRecord acceptable_clock_class;  ///< ptp_acceptable_cc_threshold_cmd
    SharedRecord prtc_only;               ///< ptp_master_prtc_only_cmd
    SharedRecord master_always_on;        ///< ptp_hbc_master_always_on_cmd
    SharedRecord holdover_timer;          ///< ptp_hbc_holdover_timer_cmd
    SharedRecord frequency_source;        ///< ptp_is_freq_src_ok_cmd
    SharedRecord pps_input;               ///< ptp_1pps_input_state
    SharedRecord tod_input;               ///< ptp_tod_input_state
};

/** A local time source of the clock. */
struct VirtualPortIntent {
    SharedRecord port;           ///< ptp_virtual_port_cfg, with the status that was reported last
    SharedRecord quality_level;  ///< ptp_g8275_1_ql_update; null: none was sent
};

struct PortIntent {
    SharedRecord port;                  ///< ptp_port_cfg
    std::vector<SharedRecord> streams;  ///< ptp_stream_cfg, by rising stream_handle
};

/**
 * Made by Intent::clock(). Cheap to copy; later messages change the intent, not this view.
 *
 *     const auto domain = view.clock().number("default_data_set.clk_domain");
 */
class ClockIntent {
  public:
    ClockIntent(SharedRecord clock, std::vector<PortIntent> ports, std::vector<VirtualPortIntent> virtual_ports,
                ElementSettings settings)
        : clock_(std::move(clock)),
          ports_(std::move(ports)),
          virtual_ports_(std::move(virtual_ports)),
          settings_(std::move(settings)) {}

    /** The number by which ports, commands and reports name the clock. */
    std::uint8_t handle() const { return static_cast<std::uint8_t>(clock_->number_or("clock_handle", 0)); }
    /** ptp_clock_cfg, with every later change merged. */
    const Record &clock() const { return *clock_; }
    /** By rising port_num: the first is the daemon's port 1, and so on. */
    const std::vector<PortIntent> &ports() const { return ports_; }
    /** By rising v_port_index. */
    const std::vector<VirtualPortIntent> &virtual_ports() const { return virtual_ports_; }
    const ElementSettings &settings() const { return settings_; }

  private:
    SharedRecord clock_;
    std::vector<PortIntent> ports_;
    std::vector<VirtualPortIntent> virtual_ports_;
    ElementSettings settings_;
};

}  // namespace ptp_agent
