// A real ptp_agent that a test starts, and a control plane that talks to it.
#pragma once

#include <sys/types.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "agent/intent/record.h"
#include "vela_transport.h"

namespace ptp_agent::test {

class AgentProcess {
  public:
    /** @param folder  where all its files are, below `name`; @param more  lines at the end of its configuration */
    AgentProcess(const std::string &folder, const std::string &name, const std::string &more = {});
    ~AgentProcess();
    AgentProcess(const AgentProcess &) = delete;
    AgentProcess &operator=(const AgentProcess &) = delete;

    /** Starts it and waits until it answers questions. */
    bool start();
    /** Ends it by SIGTERM or SIGKILL and waits; its exit status, or -1 for a signal. */
    int end(int number);
    void signal(int number) const;
    pid_t process() const { return process_; }

    /** The answer to a question on its status socket; empty when there is none. */
    std::string ask(const std::string &question) const;
    nlohmann::json status() const;
    /** The first clock of the status. */
    nlohmann::json clock() const;
    /** Waits until the condition holds for the first clock. */
    bool wait_for(const std::function<bool(const nlohmann::json &clock)> &holds, unsigned timeout_ms = 8000) const;
    /** The process of its first daemon; 0 where there is none. */
    pid_t daemon() const;

    std::string control_uri() const { return "unix:" + folder_ + "/control.sock"; }
    std::string folder() const { return folder_; }
    std::string log() const;

  private:
    std::string folder_;
    pid_t process_ = -1;
};

/** A control plane that is connected to an agent. */
class ControlPlanePeer {
  public:
    explicit ControlPlanePeer(const std::string &uri);
    ~ControlPlanePeer();
    ControlPlanePeer(const ControlPlanePeer &) = delete;
    ControlPlanePeer &operator=(const ControlPlanePeer &) = delete;

    void send(const Record &message);
    void send_bytes(const std::vector<std::uint8_t> &bytes);
    /** Sends and receives for a time, or until the condition holds for a message that arrived. */
    bool receive_until(const std::function<bool(const Record &)> &holds, unsigned timeout_ms = 8000);
    void receive_for(unsigned duration_ms);
    /** Everything that arrived since the last call of clear(). */
    const std::vector<Record> &received() const { return received_; }
    void clear() { received_.clear(); }
    vela_channel *channel() { return channel_; }
    SharedHandle handle() { return handle_; }
    u_int32 err = 0;  ///< for calls of the library

    /** A message of the control plane with some fields set. */
    Record message(const char *name, const std::vector<std::pair<const char *, std::int64_t>> &fields);

  private:
    static void on_bundle(vela_handle *handle, u_int32 mem_class, const u_int8 *bundle, u_int32 length, void *context);
    static void on_message(vela_handle *handle, u_int32 mem_class, void *context, const ptp_cfg_type *type,
                           void *message, u_int32 *err);

    SharedHandle handle_, sending_handle_;
    vela_channel *channel_ = nullptr;
    std::vector<Record> received_;
};

/** A clock, one port of it for each interface, and rates of messages with which it locks within two seconds. */
struct TestClock {
    std::int64_t handle = 1;
    std::int64_t domain = 0;
    std::int64_t priority1 = 128;
    std::uint8_t identity = 1;  ///< its last octet
    bool slave_only = false;
    bool boundary = false;
    std::vector<std::string> interfaces;
};

void configure(ControlPlanePeer &peer, const TestClock &clock);

}  // namespace ptp_agent::test
