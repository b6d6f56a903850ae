/**
 * Hears the Announce messages on the ports' interfaces, for what the daemon does not tell: which masters there are, and by
 * which addresses. Needs a packet socket (CAP_NET_RAW); without one foreign masters are absent.
 */
#pragma once

#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "agent/base/event_loop.h"
#include "agent/daemon.h"
#include "base/file_descriptor.h"

namespace ptp_agent {

/** An Announce message, with whom it came from. */
struct HeardAnnounce {
    ForeignMaster master;
    std::uint8_t domain = 0;
    std::int8_t log_interval = 0;
};

/**
 * Reads a frame as it came from the wire: PTP over Ethernet, with a VLAN tag or without, or over UDP.
 * @return nothing when it is no Announce, or cut
 */
std::optional<HeardAnnounce> parse_announce(std::span<const std::uint8_t> frame);

class AnnounceListener {
  public:
    AnnounceListener(EventLoop &loop, bool is_wanted) : loop_(loop), is_wanted_(is_wanted) {}

    /** Listens where the observed ports are from now on, and adds to the observation whom it heard. */
    void follow(Observation &found);

    /** Whether foreign masters are known at all. */
    bool is_allowed() const { return !sockets_.empty(); }

  private:
    struct Listening {
        base::file_descriptor socket;
        EventSource readable;
        std::uint16_t port = 0;
        int index = 0;  // of the interface, which a renamed or new one of the same name has not
    };
    struct Neighbour {
        ForeignMaster master;
        std::int8_t log_interval = 0;
        std::uint64_t window_start_ns = 0;
        std::uint64_t last_ns = 0;
    };

    void listen_on(const PortObservation &port);
    void receive(Listening &listening);
    void enter(const HeardAnnounce &heard, std::uint16_t port, std::uint64_t now_ns);

    EventLoop &loop_;
    bool is_wanted_;
    std::optional<std::uint8_t> domain_;
    ClockIdentity own_{};
    std::map<std::string, std::unique_ptr<Listening>> sockets_;  // by interface
    std::map<std::pair<std::uint16_t, std::vector<std::uint8_t>>, Neighbour> neighbours_;
};

}  // namespace ptp_agent
