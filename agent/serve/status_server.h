/**
 * Answers questions about the agent on a Unix stream socket, and over HTTP on loopback where that is configured. Nothing
 * that can be asked changes anything, so the socket may be open to all users.
 *
 * A question is a line: `status`, `events`, `config`, `metrics`, `answers`, `answers NAME AFTER` (answer_book.h), or
 * `plan LENGTH` with so many bytes of messages behind it. The answer ends with the connection. A line `GET /metrics` or
 * `GET /status` is answered as HTTP.
 */
#pragma once

#include <list>
#include <string>

#include "agent/base/event_loop.h"
#include "agent/serve/agent.h"

namespace ptp_agent {

class StatusServer {
  public:
    /** Throws std::runtime_error, also when another program serves the socket. */
    StatusServer(EventLoop &loop, Agent &agent);
    ~StatusServer();
    StatusServer(const StatusServer &) = delete;
    StatusServer &operator=(const StatusServer &) = delete;

  private:
    struct Listener {
        base::file_descriptor socket;
        EventSource readable;
        bool is_http = false;
    };
    struct Client {
        base::file_descriptor socket;
        EventSource ready;
        bool is_http = false;
        std::string request;
        std::string answer;
        std::size_t sent = 0;
        std::unique_ptr<Timer> deadline;
    };

    void listen_unix(const std::string &path, std::uint32_t mode);
    void listen_loopback(const std::string &address);
    void listen(base::file_descriptor socket, bool is_http);
    void accept(Listener &listener);
    void serve(std::list<Client>::iterator client);
    bool receive(Client &client);
    bool is_complete(const Client &client) const;
    std::string answer_to(const Client &client);
    std::string answer_http(const std::string &line);

    EventLoop &loop_;
    Agent &agent_;
    std::string path_;
    std::list<Listener> listeners_;
    std::list<Client> clients_;
};

}  // namespace ptp_agent
