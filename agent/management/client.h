/**
 * A client of the management protocol over the daemon's Unix datagram socket.
 *
 * It has a socket of its own, bound to a path of its own, and a portIdentity of its own, by which the daemon tells
 * clients apart. Several requests are in flight at once, few enough that neither end's queue fills. A request that is
 * not answered is sent again, with the same sequence number, so that a late answer to the first still counts; after the
 * last it has failed. A daemon that went away and came back is connected to again.
 *
 * What arrives is untrusted: the kernel delivers the connected daemon's datagrams only, those of another user are
 * dropped, and so is whatever answers nothing that was asked. All of it is counted.
 */
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "agent/base/event_loop.h"
#include "agent/management/message.h"
#include "base/file_descriptor.h"

namespace ptp_agent {

struct ManagementOptions {
    std::string daemon_path;          ///< uds_address of the daemon
    std::string own_directory;        ///< where the client's own socket is made
    std::uint8_t domain = 0;          ///< the daemon answers in its own domain only
    std::optional<uid_t> daemon_uid;  ///< who the daemon may run as; absent: root or this process's own user
    std::uint32_t timeout_ms = 250;
    unsigned tries = 3;
};

/** The daemon's answer. `data` is lent for the call. */
struct ManagementReply {
    Outcome outcome = Outcome::NoAnswer;
    std::string reason;  ///< empty when done
    std::span<const std::uint8_t> data;
    PortIdentity source;
};

struct ManagementStatistics {
    std::uint64_t requests = 0;
    std::uint64_t replies = 0;
    std::uint64_t retries = 0;
    std::uint64_t unanswered = 0;
    std::uint64_t events = 0;
    std::uint64_t connects = 0;
    std::uint64_t malformed = 0;  ///< datagrams that are no management message
    std::uint64_t stray = 0;      ///< well-formed, but an answer to nothing that is asked now
    std::uint64_t foreign = 0;    ///< of another user
};

class ManagementClient {
  public:
    using Callback = std::function<void(const ManagementReply &)>;
    /** Something pushed: what it is, its data (lent) and whose. */
    using EventCallback = std::function<void(ManagementId, std::span<const std::uint8_t>, const PortIdentity &)>;

    ManagementClient(EventLoop &loop, ManagementOptions options);
    ~ManagementClient();
    ManagementClient(const ManagementClient &) = delete;
    ManagementClient &operator=(const ManagementClient &) = delete;

    /** Asks one port, or with all_ports the clock. The callback comes from the loop, exactly once. */
    void get(std::uint16_t port, ManagementId id, Callback done);
    void set(std::uint16_t port, ManagementId id, std::vector<std::uint8_t> data, Callback done);
    void on_event(EventCallback event) { event_ = std::move(event); }
    /** Called when the daemon is reached for the first time, and again after it went away. */
    void on_connect(std::function<void()> connected) { connected_ = std::move(connected); }

    /** From now on in that domain; what is in flight is asked again there. */
    void set_domain(std::uint8_t domain);

    const ManagementStatistics &statistics() const { return statistics_; }
    /** Why the daemon cannot be reached now; empty when it can, or was not tried. */
    const std::string &trouble() const { return trouble_; }

  private:
    struct Request {
        std::uint16_t port = all_ports;
        ManagementAction action = ManagementAction::Get;
        ManagementId id = ManagementId::DefaultDataSet;
        std::vector<std::uint8_t> data;
        Callback done;
        unsigned tries = 0;
        std::uint64_t due_ms = 0;
    };
    using Pending = std::map<std::uint16_t, Request>;

    void ask(Request request);
    void pump();
    void transmit(std::uint16_t sequence, Request &request);
    bool connect();
    void disconnect(int code, const char *doing);
    void receive();
    void accept_datagram(std::span<const std::uint8_t> bytes);
    bool accept_reply(const ManagementMessage &message);
    void finish(Pending::iterator entry, const ManagementReply &reply);
    void check_deadlines();
    void schedule();

    EventLoop &loop_;
    ManagementOptions options_;
    PortIdentity identity_;
    std::string own_path_;
    base::file_descriptor socket_;
    EventSource readable_;
    Timer timer_;
    std::deque<Request> waiting_;
    Pending pending_;
    std::uint16_t next_sequence_ = 0;
    EventCallback event_;
    std::function<void()> connected_;
    ManagementStatistics statistics_;
    std::string trouble_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace ptp_agent
