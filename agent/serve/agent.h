/**
 * The agent: control planes ask, the intent says what holds, clocks do it and report.
 *
 * What was asked is kept in the file first, so that nothing that was accepted is lost, and then tried: what a daemon does
 * not run with is taken back, and the former intent is kept again. Messages that come close together are tried together.
 */
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "agent/intent/intent.h"
#include "agent/intent/store.h"
#include "agent/notification/service.h"
#include "agent/profiles/rules.h"
#include "agent/serve/answer_book.h"
#include "agent/serve/clock_unit.h"
#include "agent/serve/control_plane.h"
#include "agent/serve/event_log.h"
#include "agent/supervise/lock_file.h"

namespace ptp_agent {

/** What became of the messages of one type. */
struct MessageCounts {
    std::uint64_t applied = 0;
    std::uint64_t refused = 0;
    std::uint64_t not_expressible = 0;
    std::uint64_t not_for_us = 0;
};

class Agent {
  public:
    /** Takes up the intent that was kept. Throws std::runtime_error. */
    Agent(EventLoop &loop, AgentConfiguration configuration);
    ~Agent();
    Agent(const Agent &) = delete;
    Agent &operator=(const Agent &) = delete;

    /** Takes the values of a new configuration that need no restart; says which need one. */
    void reconfigure(const AgentConfiguration &configuration);
    /** Ends the daemons and calls back when they have ended. */
    void stop(std::function<void()> done);

    /** What a message file would change, as text for people; changes nothing. */
    std::string plan_for(std::span<const std::uint8_t> bundle);

    const AgentConfiguration &configuration() const { return configuration_; }
    const Intent &intent() const { return intent_; }
    const IntentStore &store() const { return store_; }
    const std::map<std::uint8_t, std::unique_ptr<ClockUnit>> &clocks() const { return clocks_; }
    const std::vector<std::unique_ptr<ControlPlane>> &control_planes() const { return planes_; }
    const std::map<std::string, MessageCounts> &messages() const { return counts_; }
    const notification::NotificationService *notifications() const { return notifications_.get(); }
    const AnswerBook &answers() const { return book_; }
    EventLog &log() { return log_; }
    bool is_applying() const { return applying_ > 0; }
    const std::string &last_refusal() const { return last_refusal_; }
    std::uint64_t started_ns() const { return started_ns_; }
    /** One line for the service manager. */
    std::string summary() const;

  private:
    void take_up_intent();
    void received(std::span<const std::uint8_t> bundle);
    void begin_batch();
    void take_bundle(Intent &intent, const std::vector<std::uint8_t> &bundle, std::vector<Answer> &answers);
    void count(const Answer &answer);
    bool keep(const Intent &intent);
    void apply(const Intent &wanted, DaemonControl::Refusal refusal);
    void applied(std::uint8_t clock, const ApplyResult &result);
    void end_batch();
    void end_removed_clocks();
    ClockUnit &unit(std::uint8_t clock);
    void send_registration(ControlPlane &plane);
    void publish(const std::vector<Report> &reports, vela_handle *handle);
    void hand_over_state();

    AgentConfiguration configuration_;
    EventLoop &loop_;
    EventLog log_;
    std::uint64_t started_ns_;
    LockFile lock_;
    SharedHandle handle_;            // of the intent
    SharedHandle receiving_handle_;  // tracks state: of messages that arrive
    RuleBook rules_;
    IntentStore store_;
    Intent intent_;
    std::map<std::uint8_t, std::unique_ptr<ClockUnit>> clocks_;
    std::vector<std::unique_ptr<ClockUnit>> ending_;  // of clocks that are no more, until their daemons have ended
    std::vector<std::unique_ptr<ControlPlane>> planes_;
    std::unique_ptr<notification::NotificationService> notifications_;
    std::map<std::string, MessageCounts> counts_;
    AnswerBook book_;

    std::deque<std::vector<std::uint8_t>> arrived_;
    std::size_t arrived_bytes_ = 0;
    std::optional<Intent> candidate_;
    std::string refusal_;  // of the batch that is being tried
    std::string last_refusal_;
    unsigned applying_ = 0;  // answers of clocks that are missing
    bool is_reverting_ = false, is_paused_ = false, is_stopped_ = false;
    Timer batch_;
    std::function<void()> stopped_;
    Timer ending_check_, stop_check_;
};

}  // namespace ptp_agent
