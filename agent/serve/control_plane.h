// A channel to control planes: what arrives is handed on, reports go out.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "agent/base/event_loop.h"
#include "agent/serve/configuration.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/reflect.h"
#include "vela_transport.h"

namespace ptp_agent {

struct ControlPlaneCallbacks {
    /** A bundle or a single message; lent. */
    std::function<void(std::span<const std::uint8_t>)> received;
    /** Somebody new is there, who knows nothing yet. */
    std::function<void()> connected;
    /** A line for people: peers that come, go, or are refused, messages that are lost. */
    std::function<void(const std::string &)> note;
};

class ControlPlane {
  public:
    /** Throws std::runtime_error. @param handle  for the channel's calls; outlives this */
    ControlPlane(EventLoop &loop, const ControlPlaneConfiguration &configuration, vela_handle *handle,
                 ControlPlaneCallbacks callbacks);
    ~ControlPlane();
    ControlPlane(const ControlPlane &) = delete;
    ControlPlane &operator=(const ControlPlane &) = delete;

    /** To all peers that are there now. */
    void send(std::span<const std::uint8_t> bundle);
    /** While paused nothing is received: what peers send waits at them. */
    void pause(bool paused);

    vela_channel_statistics statistics() const;
    std::string uri() const { return vela_channel_uri(channel_); }

  private:
    void process();

    vela_handle *handle_;
    ControlPlaneCallbacks callbacks_;
    vela_channel *channel_ = nullptr;
    EventSource readable_;
    Timer again_;
};

}  // namespace ptp_agent
