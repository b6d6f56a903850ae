// What the agent tells others: reports to control planes, states to the notification API.
#include "agent/serve/agent.h"
#include "ptp_cfg/messages.h"
#include "vela_bundle.h"

namespace ptp_agent {
namespace {

constexpr u_int32 bundle_bytes = 512 * 1024;

}  // namespace

void Agent::send_registration(ControlPlane &plane) {
    const ReportMaker maker(registration());
    const Record message = maker.make(receiving_handle_, maker.values({}, {}), nullptr);
    u_int8 bytes[256];
    u_int32 err = 0;
    const u_int32 length = ptp_ptpd_kerd_reg_msg_message_marshal(
        message.handle(), 0, bytes, static_cast<ptp_ptpd_kerd_reg_msg_message *>(message.message()), sizeof bytes - 1,
        &err);
    if (err == 0) {
        plane.send({bytes, length});
    }
}

void Agent::publish(const std::vector<Report> &reports, vela_handle *handle) {
    u_int32 err = 0;
    vela_bundle *bundle = vela_bundle_open(handle, 0, bundle_bytes, &err);
    for (const Report &report : reports) {
        ptp_cfg_type_description description = {};
        description.size = sizeof description;
        ptp_cfg_type_describe(report.message.type(), &description);
        u_int32 failed = 0;
        vela_bundle_add(handle, 0, description.operations->marshal, report.message.message(), &failed);
        if (failed != 0) {
            log_.add(Severity::Error, "",
                     std::string(report.row->message) + ": cannot be sent, error " + std::to_string(failed));
        }
    }
    const u_int8 *bytes = nullptr;
    u_int32 length = 0;
    err = 0;
    vela_bundle_close(handle, &bytes, &length, &err);
    for (const auto &plane : planes_) {
        if (err == 0) {
            plane->send({bytes, length});
        }
    }
    vela_bundle_destroy(bundle);
}

void Agent::hand_over_state() {
    if (notifications_ == nullptr) {
        return;
    }
    notification::NodeState state;
    for (const auto &[handle, clock] : clocks_) {
        const Observation &last = clock->last_observation();
        notification::ClockState each;
        each.name = "clock" + std::to_string(handle);
        if (clock->intent() && clock->polls() > 0) {
            const std::string_view name = to_oran(clock->holdover().state);
            const auto lock = name == "LOCKED"     ? notification::LockState::Locked
                              : name == "HOLDOVER" ? notification::LockState::Holdover
                                                   : notification::LockState::Freerun;
            each.lock_state = {lock, last.wall_ns};
            each.clock_class = {clock->holdover().clock_class, last.wall_ns};
        }
        if (last.time_status) {
            each.offset_ns = {static_cast<double>(last.time_status->master_offset_ns), last.wall_ns};
        }
        state.clocks.push_back(std::move(each));
    }
    notifications_->set_state(state);
}

}  // namespace ptp_agent
