// What the control plane asked for: clocks, ports, streams, virtual ports and settings, as records by their handles.
//
// Handles. A clock is named by the 8 bits that other records have for it. A port number and a stream handle name one port
// and one stream of the whole element, because deletes and streams give no clock with them.
#pragma once

#include <compare>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "agent/intent/clock_intent.h"

namespace ptp_agent {

/** Why something that was asked cannot be. `field` and what follows are empty where the whole object is meant. */
struct Violation {
    enum class Kind : std::uint8_t {
        Order,    ///< what it names does not exist, exists already or belongs to another
        Limit,    ///< more than the agent keeps
        Profile,  ///< the profile forbids it
        Daemon    ///< the daemon has nothing that would do it
    };
    Kind kind = Kind::Order;
    std::string object;     ///< "port 3 of clock 1"
    std::string field;      ///< path: "default_data_set.clk_domain"
    std::string value;      ///< as asked
    std::string allowed;    ///< "24 to 43"
    std::string reason;     ///< a sentence: why, and what to do
    std::string reference;  ///< clause of a standard, or empty
    std::string rule;       ///< "g8275.1/domain"; empty where it is no rule of a profile

    bool operator==(const Violation &) const = default;
};

/** One line for people. */
std::string to_text(const Violation &violation);

/** What became of a message. */
struct Answer {
    enum class Kind : std::uint8_t {
        Applied,         ///< the intent says it now
        Refused,         ///< it is wrong; nothing has changed
        NotExpressible,  ///< it is right, but this daemon cannot do it; nothing has changed
        NotForUs         ///< a report, of the kind that a daemon sends; nothing has changed
    };
    Kind kind = Kind::Applied;
    std::string message;                ///< "ptp_clock_cfg"
    std::string object;                 ///< what it was about: "clock 1"; empty for settings of the element
    std::optional<std::uint8_t> clock;  ///< the one clock that it concerns; none: all of them, or none
    bool has_changed = false;           ///< applied, and the intent differs from before
    std::vector<Violation> violations;  ///< all of them; of Refused and NotExpressible at least one
    std::vector<std::string> unused;    ///< fields that were given a value that nothing here uses
};

/** "applied", "refused", "not expressible", "not for us" */
std::string_view to_text(Answer::Kind kind);
/** "ptp_clock_cfg, clock 1: refused: ...", a line for each violation. */
std::string to_text(const Answer &answer);

/** The kinds of objects, one for each message that is kept. */
enum class ObjectKind : std::uint8_t {
    Clock,
    Port,
    Stream,
    VirtualPort,
    QualityLevel,
    UtcOffset,
    UtcHoldoverTimeout,
    AcceptableClockClass,
    PrtcOnly,
    MasterAlwaysOn,
    HoldoverTimer,
    FrequencySource,
    PpsInput,
    TodInput
};

struct ObjectKey {
    ObjectKind kind = ObjectKind::Clock;
    std::uint64_t first = 0;   ///< clock handle, port number or stream handle
    std::uint64_t second = 0;  ///< index of a virtual port

    auto operator<=>(const ObjectKey &) const = default;
};

/** How much is kept; what would be more is refused. */
struct IntentLimits {
    std::size_t clocks = 16;
    std::size_t ports = 256;
    std::size_t streams = 1024;
    std::size_t virtual_ports = 64;
};

/** Copies share their records, so that one is a snapshot at little cost. */
class Intent {
  public:
    explicit Intent(SharedHandle handle, IntentLimits limits = {}) : handle_(std::move(handle)), limits_(limits) {}

    const SharedHandle &handle() const { return handle_; }

    /** Handles of the clocks, rising. */
    std::vector<std::uint8_t> clocks() const;
    /** Nothing where there is no such clock. */
    std::optional<ClockIntent> clock(std::uint8_t handle) const;
    /** The clock of a port. */
    std::optional<std::uint8_t> clock_of_port(std::uint64_t port) const;
    ElementSettings settings() const;

    SharedRecord find(const ObjectKey &key) const;
    const std::map<ObjectKey, SharedRecord> &objects() const { return objects_; }

    /** Enters, replaces or (null) removes, without a check; `record` is of the kind's message. */
    void put(const ObjectKey &key, SharedRecord record);
    const IntentLimits &limits() const { return limits_; }

    bool operator==(const Intent &other) const { return objects_ == other.objects_; }

  private:
    SharedHandle handle_;
    IntentLimits limits_;
    std::map<ObjectKey, SharedRecord> objects_;
};

/** "clock 1", "port 3", "virtual port 2 of clock 1"; empty for settings. */
std::string to_text(const ObjectKey &key);

class RuleBook;  // profiles/rules.h

/**
 * Takes a message that was received: merges it into the intent when all is well with it, else leaves the intent alone and
 * says why not.
 *
 * - A record with `modify` false creates the object, or replaces it whole where it exists; one with `modify` true, and the
 *   modify commands, change one that exists.
 * - A record with state flags changes exactly the fields whose flag is set; one without changes all.
 * - Deleting a clock deletes its ports, their streams and its virtual ports; deleting a port deletes its streams.
 * - A change that would make an object invalid that was valid, of a profile say, is refused as well.
 *
 * @param type     of the message
 * @param message  stays the caller's
 * @param handle   that it was received with, tracking or not
 * @param rules    what the outcome must satisfy
 */
Answer take(Intent &intent, const ptp_cfg_type *type, void *message, vela_handle *handle, const RuleBook &rules);

/** The same without rules: whatever can be merged is. For checking a whole set of messages at once, afterwards. */
Answer merge(Intent &intent, const ptp_cfg_type *type, void *message, vela_handle *handle);

/** take() of a message in bytes; one that cannot be decoded is refused. `handle` should track state. */
Answer take(Intent &intent, std::span<const std::uint8_t> bytes, vela_handle *handle, const RuleBook &rules);

}  // namespace ptp_agent
