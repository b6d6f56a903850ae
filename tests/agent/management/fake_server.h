// A management server that does what a test tells it, over a real socket.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "agent/base/event_loop.h"
#include "agent/management/message.h"
#include "base/file_descriptor.h"
#include "support/surroundings.h"

namespace ptp_agent::test {

class FakeServer {
  public:
    /** Answers a request with any number of datagrams, by answer() or send(). */
    using Behaviour = std::function<void(FakeServer &, const ManagementMessage &)>;

    FakeServer(EventLoop &loop, std::string path);
    ~FakeServer();
    FakeServer(const FakeServer &) = delete;
    FakeServer &operator=(const FakeServer &) = delete;

    /** What is answered to a GET of an id, and stored by a SET. */
    std::map<ManagementId, std::vector<std::uint8_t>> values;
    /** Instead of the usual answer. */
    Behaviour behaviour;
    std::vector<ManagementMessage> requests;  // without their data
    std::uint8_t domain = 0;

    void answer(const ManagementMessage &request);
    /** A reply to the request, which a test may then spoil. */
    ManagementMessage reply_to(const ManagementMessage &request);
    void send(const ManagementMessage &message);
    void send_bytes(const std::vector<std::uint8_t> &bytes);
    /** The peer of the last request, for what is pushed. */
    const PortIdentity &last_client() const { return client_; }
    const std::string &client_path() const { return client_path_; }

  private:
    void receive();

    std::string path_;
    base::file_descriptor socket_;
    std::string client_path_;
    PortIdentity client_;
    EventSource readable_;
};

}  // namespace ptp_agent::test
