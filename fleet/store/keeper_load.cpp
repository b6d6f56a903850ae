// Finds out where the process before ended, and goes on from there.
#include "keeper.h"
#include "schema.h"

namespace ptp_fleet {

keeper::keeper(const std::string &file, const std::string &holder, fleet_state &state, open_samples &samples)
    : database_(file, access::write), holder_(holder), state_(state), samples_(samples) {
    prepare_tables(database_);
    statement(database_, "INSERT INTO meta VALUES ('holder', ?1) ON CONFLICT DO UPDATE SET value = ?1")
        .bind(holder_)
        .run();
    load();
}

void keeper::load_clocks() {
    std::unordered_map<std::uint64_t, clock_name> names;
    statement rows(database_,
                   "SELECT id, element, clock, lock_since_ns, changed_ns, heard_ns, messages, events FROM clock");
    while (rows.step()) {
        clock_summary row;
        row.name = {rows.text(1), rows.text(2)};
        row.lock_since_ns = rows.count(3);
        row.changed_ns = rows.count(4);
        row.heard_ns = rows.count(5);
        row.messages = rows.count(6);
        row.events = rows.count(7);
        ids_[row.name] = rows.count(0);
        names[rows.count(0)] = row.name;
        state_.restore(row);
    }
    statement latest(database_, "SELECT clock, message, about, time_ns, heard_ns, bytes FROM latest");
    while (latest.step()) {
        kept_record record;
        record.message = latest.text(1);
        record.about = latest.text(2);
        record.time_ns = latest.count(3);
        record.heard_ns = latest.count(4);
        record.bytes = latest.bytes(5);
        state_.restore_record(names.at(latest.count(0)), record);
    }
}

void keeper::load_changes(std::uint64_t done) {
    statement rows(
        database_,
        "SELECT element, clock.clock, time_ns, what, before, after FROM (SELECT * FROM change WHERE piece <= ?1 "
        "ORDER BY id DESC LIMIT 4096) AS c JOIN clock ON clock.id = c.clock ORDER BY c.id");
    rows.bind(done);
    while (rows.step()) {
        state_.restore_change({{rows.text(0), rows.text(1)}, rows.count(2), rows.text(3), rows.text(4), rows.text(5)});
    }
}

void keeper::replay(std::uint64_t done) {
    statement pieces(database_, "SELECT id, bytes FROM piece WHERE id > ?1 ORDER BY id");
    pieces.bind(done);
    while (pieces.step()) {
        last_piece_ = pieces.count(0);
        read_piece(pieces.bytes(1), [&](const journal_entry &each) {
            const verdict is = ledger_.take(each.source, each.sequence, each.heard_ns);
            ++since_checkpoint_;
            if (each.bytes.empty()) {
                ++totals_.refused;
                return;
            }
            outcome out;
            apply(each, is, out);
            ++totals_.messages;
        });
    }
}

void keeper::load() {
    const std::uint64_t done = meta("done");
    last_piece_ = done;
    totals_.messages = meta("messages");
    totals_.repeated = meta("repeated");
    totals_.refused = meta("refused");
    load_clocks();
    load_changes(done);
    statement sources(database_, "SELECT name, last, heard_ns, missing FROM source");
    while (sources.step()) {
        ledger_.restore(sources.text(0), {sources.count(1), sources.count(2), read_ranges(sources.text(3))});
    }
    written_change_ = state_.change();
    replay(done);
    state_.tell_waiting();
}

}  // namespace ptp_fleet
