/**
 * Network elements as their users meet them: each a network namespace with a real ptp_agent, which runs real daemons, and
 * a control plane at its channel. Everything that the agent reports is kept as it was told, in order.
 */
#pragma once

#include <sys/types.h>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "agent/intent/record.h"
#include "support/network.h"
#include "support/surroundings.h"
#include "vela_transport.h"

namespace ptp_agent::test {

/** Empty, or why no elements can be played here: the text for GTEST_SKIP(). */
std::string why_no_elements();

/** A message that an agent reported. */
class Report {
  public:
    Report(std::uint64_t at_ms, unsigned bundle, Record message);

    std::uint64_t at_ms;  ///< when it arrived; monotonic
    unsigned bundle;      ///< those that were sent together have one number
    Record message;

    std::string_view name() const { return message.name(); }
    /**
     * What it says of a field, as text: 24, true, SLAVE (literals without what they share), aabbccfffe000110, 192.0.2.1.
     * Nothing when it has no such field, or does not say it: its state flag is clear. Path of a field in any payload.
     */
    std::optional<std::string> told(std::string_view path) const;
};

struct ElementOptions {
    std::map<std::string, std::string> daemon_options =
        {};                   ///< of [daemon.options], as TOML values; over the fast ones
    std::string daemon = {};  ///< further lines of [daemon]
    std::string tables = {};  ///< further tables of the agent's configuration
    unsigned poll_ms = 100;
    unsigned lock_bound_ns = 200'000;  ///< software timestamps on a busy machine
    std::string state_directory = {};  ///< default: its own, that of the element
    std::string clock_shift = {};      ///< file with the nanoseconds, as an int64, by which its system's clock is off
};

class Element {
  public:
    /** Starts no agent yet. */
    Element(const std::string &folder, std::string name, const ElementOptions &options = {});
    ~Element();
    Element(const Element &) = delete;
    Element &operator=(const Element &) = delete;

    const std::string &name() const { return name_; }
    const std::string &folder() const { return folder_; }
    const SecondNamespace &network() const { return network_; }

    /** Starts the agent; returns at once. */
    void start();
    /** To the agent; waits for its end where the signal is one. */
    void signal(int number);
    /** Whether the agent runs; takes note of its end. */
    bool is_running();
    /** How it ended, as of waitpid(). */
    int end_status() const { return end_status_; }
    pid_t process() const { return process_; }
    /** Process of a clock's daemon; 0 without one. */
    pid_t daemon_process(int clock = 1);
    /** What the agent wrote to standard error. */
    std::string log() const;

    /** As one bundle. */
    void send(const std::vector<Record> &messages);
    /** Files of examples/clocks/, as one bundle. */
    void send_examples(const std::vector<std::string> &files);
    void send_bytes(const std::vector<std::uint8_t> &bytes);

    /** Takes what has arrived. */
    void process_channel();
    int channel_descriptor() const { return vela_channel_fd(channel_); }
    const std::deque<Report> &reports() const { return reports_; }
    void forget_reports() { reports_.clear(); }
    /** What was told last of a field. */
    std::optional<std::string> last(std::string_view message, std::string_view path) const {
        return last_of_port(message, path, -1);
    }
    /** The same of one port. */
    std::optional<std::string> last_of_port(std::string_view message, std::string_view path, int port) const;

    /** Answer of the agent's status socket: to "status", "events" or "config"; null without an answer. */
    nlohmann::json ask(const std::string &question = "status");
    std::string ask_text(const std::string &question);
    /** "locked", "free run", ... as status says it; empty without an answer. */
    std::string lock_state(int clock = 1);
    /** Whether an event since the agent's start has that text in it. */
    bool has_event(const std::string &text);

  private:
    static void on_bundle(vela_handle *, u_int32, const u_int8 *bundle, u_int32 length, void *context);
    static void on_message(vela_handle *handle, u_int32, void *context, const ptp_cfg_type *type, void *message,
                           u_int32 *);

    std::string folder_, name_, configuration_, clock_shift_;
    SecondNamespace network_;
    SharedHandle receiving_, sending_;
    vela_channel *channel_ = nullptr;
    std::deque<Report> reports_;
    unsigned bundles_ = 0;
    pid_t process_ = -1;
    int end_status_ = 0;
};

/** Elements, and the links between them. */
class Elements {
  public:
    Element &add(const std::string &name, const ElementOptions &options = {});
    /** The two ends of a new link get names in their elements, and addresses 10.0.`network`.1 and .2. */
    void connect(const Element &one, const std::string &interface, const Element &other,
                 const std::string &other_interface, int network = 0);
    void set_link(const Element &element, const std::string &interface, bool is_up);

    /** Lets the world go on until the condition holds; false when it does not within the time. */
    bool wait_until(const std::function<bool()> &holds, std::uint64_t timeout_ms = 5000);
    void wait_ms(std::uint64_t duration) {
        wait_until([] { return false; }, duration);
    }
    const std::string &folder() const { return directory_.path(); }

  private:
    TemporaryDirectory directory_;
    std::vector<std::unique_ptr<Element>> elements_;
};

}  // namespace ptp_agent::test
