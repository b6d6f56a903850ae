// The fleet in memory: what each clock last said, its row in the table of all, and what changed in which order.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <span>
#include <unordered_map>
#include <vector>

#include "clock_summary.h"

namespace ptp_fleet {

class decoded_message;

/** A message as it came. */
struct said {
    clock_name name;
    std::string_view message;  // short name
    std::span<const std::uint8_t> bytes;
    std::uint64_t time_ns = 0;   // when the element took it
    std::uint64_t heard_ns = 0;  // when the server did
    bool is_late = false;        // something newer of the same clock was taken already: it is history alone
};

/** Something about a clock that is now another: its lock state, parent, grandmaster, classes; or an event. */
struct change_entry {
    clock_name name;
    std::uint64_t time_ns = 0;
    std::string what;  // "lock", "parent", "grandmaster", "clock class", ..., or an event's message
    std::string before, after;
};

/** The last message of a kind: of what the clock said in parts, all of it together. */
struct clock_record {
    std::string message;  // short name
    std::string about;    // "port 3" or a foreign master, where a clock has several of the kind; else empty
    std::uint64_t time_ns = 0;
    std::uint64_t heard_ns = 0;
    std::string json;                  // as ptp_cfg_to_json() writes it, with "$state" of fields that are known
    std::vector<std::string> changed;  // paths of the fields that the last change altered, without the message's name
    std::uint64_t changed_ns = 0;      // when that was
};

/** What taking a message came to, for who keeps it. */
struct taken {
    std::vector<change_entry> changes;               // other than offset and path delay
    std::optional<double> offset_ns, path_delay_ns;  // where the message says them
    std::string about;                               // as in clock_record
    std::span<const std::uint8_t> bytes;             // all parts together; until the next message
    bool has_changed = false;                        // those bytes are others than before
};

/** A record as it is kept. */
struct kept_record {
    std::string message, about;
    std::uint64_t time_ns = 0, heard_ns = 0;
    std::vector<std::uint8_t> bytes;
    bool is_measurement = false;  // has the offset, and is another each time
};

struct fleet_counts {
    std::array<std::size_t, lock_states> by_lock = {};  // of those that are not silent
    std::size_t clocks = 0;
    std::size_t silent = 0;
    std::uint64_t messages = 0;
};

/** Any thread may call; one at a time takes messages. */
class fleet_state {
  public:
    /** @param silent_after_s  a clock that said nothing for so long counts as silent */
    explicit fleet_state(double silent_after_s = 60);
    ~fleet_state();

    // ---- questions ----

    std::vector<clock_summary> summaries() const;
    /** Those whose row changed after that number; the numbers of all changes up to now are at most change(). */
    std::vector<clock_summary> changed_after(std::uint64_t change) const;
    std::optional<clock_summary> summary(const clock_name &name) const;
    std::vector<clock_record> records(const clock_name &name) const;
    /** The newest first. */
    std::vector<change_entry> recent_changes(std::size_t limit) const;
    std::vector<change_entry> recent_changes(const clock_name &name, std::size_t limit) const;
    fleet_counts counts(std::uint64_t now_ns) const;
    bool is_silent(const clock_summary &of, std::uint64_t now_ns) const;

    std::uint64_t change() const;
    /** Waits for a change after that number; returns the newest, which is not above it when the time was over. */
    std::uint64_t wait_for_change(std::uint64_t after, std::chrono::milliseconds most) const;

    // ---- for who brings messages ----

    /** Between two calls of this nobody is woken. */
    void tell_waiting();
    /** Throws std::runtime_error, and changes nothing, when the bytes are no message of that name. */
    taken take(const said &what);
    /** Puts a clock back as it was kept, before anything is taken. Its records follow by restore_record(). */
    void restore(const clock_summary &of);
    void restore_record(const clock_name &name, const kept_record &of);
    void restore_change(const change_entry &of);
    /** The rows that changed after that number, and their records that did; is_altered: with other bytes. */
    using row_visitor = std::function<void(const clock_summary &)>;
    using record_visitor = std::function<void(const clock_name &, const kept_record &, bool is_altered)>;
    void visit_after(std::uint64_t change, const row_visitor &row, const record_visitor &record) const;

  private:
    struct clock_entry;
    struct kept;

    clock_entry &entry_of(const clock_name &name);
    const clock_entry *find(const clock_name &name) const;
    static kept &keep(clock_entry &of, const std::string &about, const said &what);
    static void tell_changes(const clock_summary &before, const clock_summary &now, const said &what, taken &out);
    void apply(clock_entry &to, const decoded_message &read, const said &what, taken &out);
    void add_change(clock_entry &to, change_entry of);

    std::uint64_t silent_after_ns_;
    mutable std::shared_mutex mutex_;
    std::unordered_map<clock_name, std::size_t, clock_name_hash> index_;
    std::vector<std::unique_ptr<clock_entry>> clocks_;
    std::deque<change_entry> changes_;
    std::uint64_t messages_ = 0;
    std::uint64_t change_ = 0;

    mutable std::mutex waiting_mutex_;
    mutable std::condition_variable waiting_;
    std::uint64_t told_ = 0;
};

}  // namespace ptp_fleet
