/**
 * Keeps what elements say, each message once, whatever ends when.
 *
 * A message is taken: the ledger knows its number, the state what it says. commit() writes all that was taken since the
 * last one as one piece of a journal; after that it may be acknowledged. checkpoint() writes, much less often, what came
 * of the pieces. Who opens the file later loads that and takes the pieces behind it again.
 */
#pragma once

#include "database.h"
#include "journal.h"
#include "ledger.h"
#include "samples.h"

namespace ptp_fleet {

struct keeping {
    double seconds_days = 2;   // each report's offset and path delay
    double minutes_days = 14;  // those of a minute or two; then of an hour
    double hours_days = 400;
    double records_days = 90;  // and changes
    double journal_hours = 24;
    double source_days = 30;  // an element's numbers, after which it may use them again
    std::uint64_t most_bytes = std::uint64_t{20} << 30;
};

/** Somebody else has taken the file over: this process is to end. */
class superseded : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/** For one thread; what it shares says so itself. */
class keeper {
  public:
    /** Opens, loads, and shuts out who had it open. @param holder  unique among processes */
    keeper(const std::string &file, const std::string &holder, fleet_state &state, open_samples &samples);

    struct outcome {
        verdict is = verdict::next;
        std::string refused;  // why it is no message that can be kept; empty: it is
        std::vector<change_entry> changes;
        bool is_altered = false;  // the record is another, and that is news
    };
    /** Takes it into ledger, state and the next piece; one that is refused into the ledger alone. */
    outcome take(const journal_entry &of);
    /** Throws database_error and may be repeated then: nothing is lost. */
    void commit();
    void checkpoint();
    /** Lets some of what is old go; call it now and then. */
    void maintain(const keeping &how, std::uint64_t now_ns);

    std::size_t waiting() const { return piece_.count(); }
    std::uint64_t since_checkpoint() const { return since_checkpoint_; }
    store_totals totals() const;

  private:
    struct pending_change {
        std::uint64_t clock;
        change_entry of;
    };

    void load();
    void load_clocks();
    void load_changes(std::uint64_t done);
    void replay(std::uint64_t done);
    void apply(const journal_entry &of, verdict is, outcome &out);
    std::uint64_t id_of(const clock_name &name);
    void hold();
    void write_new_clocks();
    void write_changes();
    void write_sources();
    void write_rows();
    void write_chunks();
    void put_meta(const char *name, std::uint64_t value);
    std::uint64_t meta(const char *name);

    database database_;
    std::string holder_;
    fleet_state &state_;
    open_samples &samples_;
    ledger ledger_;
    journal_piece piece_;
    std::unordered_map<clock_name, std::uint64_t, clock_name_hash> ids_;
    std::vector<clock_name> new_clocks_;
    std::vector<pending_change> changes_;
    std::uint64_t last_piece_ = 0;        // written
    std::uint64_t written_change_ = 0;    // number of the state's change up to which rows are written
    std::uint64_t since_checkpoint_ = 0;  // messages
    store_totals totals_;
    std::uint64_t next_to_maintain_ = 0;  // clock
    double pressure_ = 1;                 // of what there is to keep, while it takes too much room
};

}  // namespace ptp_fleet
