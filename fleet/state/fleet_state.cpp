// Takes messages into the rows and records of their clocks.
#include "fleet_state.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "entries.h"
#include "message.h"
#include "record_rows.h"

namespace ptp_fleet {
namespace {

template <typename value>
std::string text_of(const std::optional<value> &of) {
    if constexpr (std::is_same_v<value, int>) {
        return of ? std::to_string(*of) : "";
    } else {
        return of ? to_text(*of) : "";
    }
}

/** The bytes of a record out of the message and what there was before. */
std::vector<std::uint8_t> merged(std::span<const std::uint8_t> before, const decoded_message &now,
                                 std::span<const std::uint8_t> bytes, const record_row *row) {
    if (row == nullptr || !row->is_in_parts || !now.is_tracked() || before.empty()) {
        return {bytes.begin(), bytes.end()};
    }
    decoded_message whole(before);
    if (!whole.is_tracked()) {
        return {bytes.begin(), bytes.end()};
    }
    whole.take(now);
    return whole.bytes();
}

bool is_event(std::span<const std::uint8_t> bytes) {
    const char *name = nullptr;
    return ptp_cfg_message_describe(bytes.data(), static_cast<u_int32>(bytes.size()), &name) == VELA_MESSAGE_EVENT;
}

}  // namespace

fleet_state::fleet_state(double silent_after_s) : silent_after_ns_(static_cast<std::uint64_t>(silent_after_s * 1e9)) {}
fleet_state::~fleet_state() = default;

fleet_state::clock_entry &fleet_state::entry_of(const clock_name &name) {
    const auto [place, is_new] = index_.try_emplace(name, clocks_.size());
    if (is_new) {
        clocks_.push_back(std::make_unique<clock_entry>());
        clocks_.back()->row.name = name;
    }
    return *clocks_[place->second];
}

fleet_state::kept &fleet_state::keep(clock_entry &of, const std::string &about, const said &what) {
    const auto found = std::find_if(of.records.begin(), of.records.end(), [&](const kept &each) {
        return each.now.message == what.message && each.now.about == about;
    });
    if (found != of.records.end()) {
        return *found;
    }
    const auto is_same_kind = [&](const kept &each) { return each.now.message == what.message; };
    if (std::count_if(of.records.begin(), of.records.end(), is_same_kind) >=
        static_cast<std::ptrdiff_t>(records_of_a_kind)) {
        of.records.erase(std::find_if(of.records.begin(), of.records.end(), is_same_kind));
    }
    of.records.push_back({{std::string(what.message), about, 0, 0, {}, is_measurement(what.message)}, {}, 0, 0, 0});
    return of.records.back();
}

void fleet_state::add_change(clock_entry &to, change_entry of) {
    if (to.changes.size() == changes_of_a_clock) {
        to.changes.erase(to.changes.begin());
    }
    to.changes.push_back(of);
    if (changes_.size() == changes_of_all) {
        changes_.pop_front();
    }
    changes_.push_back(std::move(of));
}

void fleet_state::tell_changes(const clock_summary &before, const clock_summary &now, const said &what, taken &out) {
    const auto tell = [&](const char *name, const std::string &former, const std::string &latter) {
        if (!former.empty() && former != latter) {
            out.changes.push_back({now.name, what.time_ns, name, former, latter});
        }
    };
    tell("lock", before.lock_since_ns != 0 ? to_text(before.lock) : "", to_text(now.lock));
    tell("identity", text_of(before.identity), text_of(now.identity));
    tell("parent", text_of(before.parent), text_of(now.parent));
    tell("grandmaster", text_of(before.grandmaster), text_of(now.grandmaster));
    tell("clock class", text_of(before.clock_class), text_of(now.clock_class));
    tell("grandmaster class", text_of(before.grandmaster_class), text_of(now.grandmaster_class));
    tell("priority1", text_of(before.priority1), text_of(now.priority1));
    tell("priority2", text_of(before.priority2), text_of(now.priority2));
    tell("domain", text_of(before.domain), text_of(now.domain));
}

void fleet_state::apply(clock_entry &to, const decoded_message &read, const said &what, taken &out) {
    const record_row *row = record_row_of(what.message);
    out.about = about_of(read, row);
    kept &record = keep(to, out.about, what);
    std::vector<std::uint8_t> bytes = merged(record.now.bytes, read, what.bytes, row);
    record.change = ++change_;
    out.has_changed = bytes != record.now.bytes;
    if (out.has_changed) {
        record.before = std::exchange(record.now.bytes, std::move(bytes));
        record.changed_ns = what.time_ns;
        record.alteration = change_;
    }
    record.now.time_ns = what.time_ns;
    record.now.heard_ns = what.heard_ns;
    out.bytes = record.now.bytes;

    const clock_summary before = to.row;
    fill_summary(to.row, read);
    tell_changes(before, to.row, what, out);
    if (is_event(what.bytes)) {
        ++to.row.events;
        out.changes.push_back({to.row.name, what.time_ns, std::string(what.message), "", read.json()});
    }
    if (to.row.lock != before.lock || (before.lock_since_ns == 0 && to.row.lock != lock_state::unknown)) {
        to.row.lock_since_ns = what.time_ns;
    }
    if (!out.changes.empty()) {
        to.row.changed_ns = what.time_ns;
    }
    for (const change_entry &each : out.changes) {
        add_change(to, each);
    }
}

taken fleet_state::take(const said &what) {
    const decoded_message read(what.bytes);
    if (read.name() != what.message) {
        throw std::runtime_error("is a " + std::string(read.name()));
    }
    taken out;
    if (is_measurement(what.message)) {
        clock_summary measured;
        fill_summary(measured, read);
        out.offset_ns = measured.offset_ns;
        out.path_delay_ns = measured.path_delay_ns;
    }
    const std::unique_lock lock(mutex_);
    clock_entry &entry = entry_of(what.name);
    if (!what.is_late) {
        apply(entry, read, what, out);
    }
    entry.row.heard_ns = std::max(entry.row.heard_ns, what.heard_ns);
    ++entry.row.messages;
    ++messages_;
    entry.row.change = ++change_;
    return out;
}

void fleet_state::restore(const clock_summary &of) {
    const std::unique_lock lock(mutex_);
    clock_summary &row = entry_of(of.name).row;
    messages_ += of.messages - row.messages;
    row = of;
    row.change = ++change_;
}

void fleet_state::restore_record(const clock_name &name, const kept_record &of) {
    const decoded_message read(of.bytes);
    const std::unique_lock lock(mutex_);
    clock_entry &entry = entry_of(name);
    said what;
    what.message = of.message;
    kept &record = keep(entry, of.about, what);
    record.now = of;
    record.now.is_measurement = is_measurement(of.message);
    record.changed_ns = of.time_ns;
    fill_summary(entry.row, read);
}

void fleet_state::restore_change(const change_entry &of) {
    const std::unique_lock lock(mutex_);
    add_change(entry_of(of.name), of);
}

void fleet_state::tell_waiting() {
    const std::uint64_t now = change();
    {
        const std::lock_guard lock(waiting_mutex_);
        told_ = now;
    }
    waiting_.notify_all();
}

}  // namespace ptp_fleet
