// The alarms there are and were, and what people said to them.
#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include "fleet_state.h"

namespace ptp_fleet {

enum class severity : std::uint8_t { warning, major, critical };
const char *to_text(severity of);

struct alarm {
    std::uint64_t id = 0;
    std::string rule;
    severity is = severity::major;
    clock_name name;
    std::uint64_t since_ns = 0;
    std::uint64_t until_ns = 0;        // 0: still
    std::string text;                  // "offset from the master is 1523 ns, beyond 1000 ns"
    std::vector<change_entry> before;  // what changed before at this clock and above it, the newest first
    std::string acknowledged_by, note;
    std::uint64_t acknowledged_ns = 0;
    std::string silenced_by;
    std::uint64_t silenced_until_ns = 0;
};

/** Any thread may call. Alarms are given by value: what is asked is as of that moment. */
class alarm_book {
  public:
    /** Told of each alarm that began, ended, or was acknowledged or silenced. Called with nothing locked. */
    using listener = std::function<void(const alarm &)>;
    void set_listener(listener to);

    /** Those that are still, the worst first, then the newest. */
    std::vector<alarm> active() const;
    /** Those that ended, the newest first. */
    std::vector<alarm> past(std::size_t limit) const;
    std::optional<alarm> find(std::uint64_t id) const;
    /** Rises with everything that happens to an alarm. */
    std::uint64_t change() const;

    /** False when there is no such alarm, or it has ended. */
    bool acknowledge(std::uint64_t id, const std::string &who, const std::string &note, std::uint64_t now_ns);
    /** Nothing is sent of it until then; 0 ends that. */
    bool silence(std::uint64_t id, const std::string &who, std::uint64_t until_ns);

    // ---- for who judges ----

    /** Takes its number from the book. Returns it. */
    std::uint64_t begin(alarm of);
    void end(std::uint64_t id, std::uint64_t now_ns);
    /** As they were kept, before anything else. */
    void load(std::vector<alarm> kept);

  private:
    bool alter(std::uint64_t id, const std::function<void(alarm &)> &how);

    mutable std::mutex mutex_;
    listener listener_;
    std::vector<alarm> active_, past_;
    std::uint64_t next_ = 1;
    std::uint64_t change_ = 0;
};

}  // namespace ptp_fleet
