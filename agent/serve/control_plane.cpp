// Channels of the library's transport in the agent's loop.
#include "agent/serve/control_plane.h"
#include "ptp_cfg/module.h"

#include <sys/epoll.h>

#include <stdexcept>

namespace ptp_agent {
namespace {

/** Messages that are taken before other sources of the loop have their turn. */
constexpr u_int32 most_at_once = 64;
/** Bundles that wait for a peer; older state is worth nothing once there is newer. */
constexpr u_int32 waiting_bundles = 256;

void on_bundle(vela_handle *, u_int32, const u_int8 *bundle, u_int32 length, void *context) {
    static_cast<const ControlPlaneCallbacks *>(context)->received({bundle, length});
}

void on_event(void *cookie, vela_channel *, const vela_channel_event *event) {
    const auto *callbacks = static_cast<const ControlPlaneCallbacks *>(cookie);
    callbacks->note(event->text);
    if (event->kind == VELA_CHANNEL_CONNECTED) {
        callbacks->connected();
    }
}

}  // namespace

ControlPlane::ControlPlane(EventLoop &loop, const ControlPlaneConfiguration &configuration, vela_handle *handle,
                           ControlPlaneCallbacks callbacks)
    : handle_(handle), callbacks_(std::move(callbacks)), again_(loop, [this] { process(); }) {
    // The handler is one for the process and finds its channel by the context.
    ptp_cfg_bundle_handler_register(on_bundle);
    vela_channel_options options = {};
    options.size = sizeof options;
    options.queue_messages = waiting_bundles;
    options.socket_mode = configuration.socket_mode;
    options.allow_other_users = configuration.allow_other_users ? 1 : 0;
    options.event = on_event;
    options.event_cookie = &callbacks_;
    options.describe = ptp_cfg_message_describe;
    char reason[256] = "";
    u_int32 err = 0;
    const auto open = configuration.connects ? vela_channel_connect : vela_channel_listen;
    channel_ = open(configuration.domain.c_str(), configuration.uri.c_str(), &options, reason, sizeof reason, &err);
    if (channel_ == nullptr) {
        throw std::runtime_error("control plane " + configuration.uri + ": " + reason);
    }
    readable_ = loop.watch(vela_channel_fd(channel_), EPOLLIN, [this](std::uint32_t) { process(); });
}

ControlPlane::~ControlPlane() {
    readable_.reset();
    callbacks_.connected = [] {};
    vela_channel_close(channel_, nullptr);
}

void ControlPlane::process() {
    u_int32 err = 0;
    const u_int32 delivered = vela_channel_process(channel_, handle_, 0, &callbacks_, most_at_once, &err);
    if (delivered == most_at_once && readable_) {
        again_.start_ms(0);
    }
}

void ControlPlane::send(std::span<const std::uint8_t> bundle) {
    // What waited for a peer would be stale when one comes: whoever connects is told everything anew.
    if (statistics().peers == 0) {
        return;
    }
    u_int32 err = 0;
    vela_channel_send(channel_, bundle.data(), static_cast<u_int32>(bundle.size()), &err);
}

void ControlPlane::pause(bool paused) {
    sd_event_source_set_enabled(readable_.get(), paused ? SD_EVENT_OFF : SD_EVENT_ON);
    if (paused) {
        again_.stop();
    }
}

vela_channel_statistics ControlPlane::statistics() const {
    vela_channel_statistics result = {};
    vela_channel_get_statistics(channel_, &result);
    return result;
}

}  // namespace ptp_agent
