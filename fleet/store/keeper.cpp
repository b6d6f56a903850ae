// Takes messages and writes what came of them.
#include "keeper.h"

#include "record_rows.h"
#include "schema.h"

namespace ptp_fleet {

void keeper::put_meta(const char *name, std::uint64_t value) {
    statement(database_, "INSERT INTO meta VALUES (?1, ?2) ON CONFLICT DO UPDATE SET value = ?2")
        .bind(name, value)
        .run();
}

std::uint64_t keeper::meta(const char *name) {
    statement asked(database_, "SELECT value FROM meta WHERE name = ?1");
    return asked.bind(name).step() ? asked.count(0) : 0;
}

void keeper::hold() {
    statement asked(database_, "SELECT value FROM meta WHERE name = 'holder'");
    if (!asked.step() || asked.text(0) != holder_) {
        throw superseded(database_.file() + ": another process has taken over");
    }
}

std::uint64_t keeper::id_of(const clock_name &name) {
    const auto [place, is_new] = ids_.try_emplace(name, ids_.size() + 1);
    if (is_new) {
        new_clocks_.push_back(name);
    }
    return place->second;
}

void keeper::apply(const journal_entry &of, verdict is, outcome &out) {
    const taken came = state_.take({of.name, of.message, of.bytes, of.time_ns, of.heard_ns, is == verdict::late});
    id_of(of.name);
    if (came.offset_ns) {
        samples_.add(of.name, {of.time_ns, *came.offset_ns, came.path_delay_ns.value_or(0)});
    }
    out.changes = came.changes;
    out.is_altered = came.has_changed && !is_quiet(of.message);
}

keeper::outcome keeper::take(const journal_entry &of) {
    outcome out;
    out.is = ledger_.take(of.source, of.sequence, of.heard_ns);
    if (out.is == verdict::repeated) {
        ++totals_.repeated;
        return out;
    }
    try {
        apply(of, out.is, out);
        piece_.add(of);
        ++totals_.messages;
    } catch (const std::runtime_error &reason) {
        out.refused = reason.what();
        piece_.add({of.name, of.source, of.sequence, "", of.time_ns, of.heard_ns, {}});
        ++totals_.refused;
    }
    for (const change_entry &each : out.changes) {
        changes_.push_back({id_of(each.name), each});
    }
    ++since_checkpoint_;
    return out;
}

void keeper::write_new_clocks() {
    statement add(database_, "INSERT OR IGNORE INTO clock VALUES (?1, ?2, ?3, 0, 0, 0, 0, 0)");
    for (const clock_name &name : new_clocks_) {
        add.bind(ids_.at(name), name.element, name.clock).run();
    }
}

void keeper::write_changes() {
    statement add(database_, "INSERT INTO change VALUES (NULL, ?1, ?2, ?3, ?4, ?5, ?6)");
    for (const auto &[clock, of] : changes_) {
        add.bind(clock, of.time_ns, of.what, of.before, of.after, last_piece_ + 1).run();
    }
}

void keeper::commit() {
    if (piece_.count() == 0) {
        return;
    }
    transaction all(database_);
    hold();
    statement(database_, "INSERT INTO piece VALUES (?1, ?2, ?3, ?4, ?5)")
        .bind(last_piece_ + 1, piece_.first_ns(), piece_.last_ns(), piece_.count(), piece_.compressed())
        .run();
    write_new_clocks();
    write_changes();
    all.commit();
    ++last_piece_;
    piece_.clear();
    new_clocks_.clear();
    changes_.clear();
}

void keeper::write_sources() {
    statement put(database_,
                  "INSERT INTO source VALUES (?1, ?2, ?3, ?4) ON CONFLICT DO UPDATE SET last = ?2, heard_ns = ?3, "
                  "missing = ?4");
    for (const auto *each : ledger_.changed()) {
        put.bind(each->first, each->second.last, each->second.heard_ns, to_text(each->second.missing)).run();
    }
}

void keeper::write_rows() {
    statement row(database_,
                  "UPDATE clock SET lock_since_ns = ?2, changed_ns = ?3, heard_ns = ?4, messages = ?5, events = ?6 "
                  "WHERE id = ?1");
    statement latest(database_,
                     "INSERT INTO latest VALUES (?1, ?2, ?3, ?4, ?5, ?6) ON CONFLICT DO UPDATE SET time_ns = ?4, "
                     "heard_ns = ?5, bytes = ?6");
    statement record(database_, "INSERT OR REPLACE INTO record VALUES (?1, ?2, ?3, ?4, ?5)");
    state_.visit_after(
        written_change_,
        [&](const clock_summary &of) {
            row.bind(ids_.at(of.name), of.lock_since_ns, of.changed_ns, of.heard_ns, of.messages, of.events).run();
        },
        [&](const clock_name &name, const kept_record &of, bool is_altered) {
            const std::uint64_t id = ids_.at(name);
            latest.bind(id, of.message, of.about, of.time_ns, of.heard_ns, of.bytes).run();
            if (is_altered && !of.is_measurement) {
                record.bind(id, of.message, of.about, of.time_ns, of.bytes).run();
            }
        });
}

void keeper::write_chunks() {
    statement add(database_, "INSERT INTO chunk VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10)");
    for (const auto &[name, chunk] : samples_.all()) {
        const series_point sum = chunk.summed();
        add.bind(ids_.at(name), chunk.first_ns, last_piece_, chunk.last_ns, chunk.count, sum.offset_low,
                 sum.offset_mean, sum.offset_high, sum.delay_mean, chunk.coded)
            .run();
    }
}

void keeper::checkpoint() {
    commit();
    const std::uint64_t change = state_.change();
    {
        transaction all(database_);
        hold();
        write_sources();
        write_rows();
        write_chunks();
        put_meta("done", last_piece_);
        put_meta("messages", totals_.messages);
        put_meta("repeated", totals_.repeated);
        put_meta("refused", totals_.refused);
        all.commit();
    }
    ledger_.forget_changed();
    samples_.clear();
    written_change_ = change;
    since_checkpoint_ = 0;
}

store_totals keeper::totals() const {
    store_totals result = totals_;
    result.missing = ledger_.missing();
    return result;
}

}  // namespace ptp_fleet
