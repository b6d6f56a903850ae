// Asks the file; a reader never waits for the writer, nor the writer for it.
#include "sqlite_history.h"

#include <filesystem>

#include "message.h"

namespace ptp_fleet {
namespace {

constexpr std::uint64_t longest_chunk_ns = 3'600'000'000'000;  // none is longer, but for clocks that are off

std::vector<change_entry> read_changes(statement &rows) {
    std::vector<change_entry> result;
    while (rows.step()) {
        result.push_back({{rows.text(0), rows.text(1)}, rows.count(2), rows.text(3), rows.text(4), rows.text(5)});
    }
    return result;
}

series_point point_of(const sample &of) {
    return {of.time_ns, 1, of.offset_ns, of.offset_ns, of.offset_ns, of.delay_ns};
}

std::int64_t signed_time(std::uint64_t ns) { return static_cast<std::int64_t>(std::min<std::uint64_t>(ns, INT64_MAX)); }

}  // namespace

sqlite_history::sqlite_history(const std::string &file, const open_samples &samples,
                               std::function<store_totals()> totals)
    : database_(file, access::read), samples_(samples), totals_(std::move(totals)) {}

std::uint64_t sqlite_history::id_of(const clock_name &name) {
    statement asked(database_, "SELECT id FROM clock WHERE element = ?1 AND clock = ?2");
    return asked.bind(name.element, name.clock).step() ? asked.count(0) : 0;
}

std::vector<series_point> sqlite_history::series(const clock_name &name, std::uint64_t from_ns, std::uint64_t to_ns,
                                                 std::size_t most_points) {
    const std::lock_guard lock(mutex_);
    point_merger merged(from_ns, to_ns, most_points);
    const std::uint64_t id = id_of(name);
    statement hours(database_,
                    "SELECT first_ns, count, low, mean, high, delay FROM hour WHERE clock = ?1 AND first_ns >= ?2 AND "
                    "first_ns < ?3");
    hours.bind(id, signed_time(from_ns), signed_time(to_ns));
    while (hours.step()) {
        merged.add({hours.count(0), hours.count(1), hours.real(2), hours.real(3), hours.real(4), hours.real(5)});
    }
    statement chunks(
        database_,
        "SELECT first_ns, count, low, mean, high, delay, coded FROM chunk WHERE clock = ?1 AND first_ns >= ?2 "
        "AND first_ns < ?3");
    const std::uint64_t begin = from_ns > longest_chunk_ns ? from_ns - longest_chunk_ns : 0;
    chunks.bind(id, signed_time(begin), signed_time(to_ns));
    const bool wants_sums = (to_ns - from_ns) / std::max<std::size_t>(1, most_points) > 600'000'000'000;
    while (chunks.step()) {
        const std::vector<std::uint8_t> coded = chunks.bytes(6);
        if (coded.empty() || wants_sums) {
            merged.add(
                {chunks.count(0), chunks.count(1), chunks.real(2), chunks.real(3), chunks.real(4), chunks.real(5)});
            continue;
        }
        for (const sample &each : read_samples(coded)) {
            merged.add(point_of(each));
        }
    }
    for (const sample &each : samples_.of(name)) {
        merged.add(point_of(each));
    }
    return merged.points();
}

std::vector<change_entry> sqlite_history::changes(const clock_name &name, std::uint64_t from_ns, std::uint64_t to_ns,
                                                  std::size_t limit) {
    const std::lock_guard lock(mutex_);
    statement rows(
        database_,
        "SELECT element, clock.clock, time_ns, what, before, after FROM change JOIN clock ON clock.id = "
        "change.clock WHERE change.clock = ?1 AND time_ns >= ?2 AND time_ns < ?3 ORDER BY time_ns DESC LIMIT ?4");
    rows.bind(id_of(name), signed_time(from_ns), signed_time(to_ns), static_cast<std::uint64_t>(limit));
    return read_changes(rows);
}

std::vector<change_entry> sqlite_history::changes(std::uint64_t from_ns, std::uint64_t to_ns, std::size_t limit) {
    const std::lock_guard lock(mutex_);
    statement rows(database_,
                   "SELECT element, clock.clock, time_ns, what, before, after FROM change JOIN clock ON clock.id = "
                   "change.clock WHERE time_ns >= ?1 AND time_ns < ?2 ORDER BY time_ns DESC LIMIT ?3");
    rows.bind(signed_time(from_ns), signed_time(to_ns), static_cast<std::uint64_t>(limit));
    return read_changes(rows);
}

std::vector<clock_record> sqlite_history::records_at(const clock_name &name, std::uint64_t time_ns) {
    const std::lock_guard lock(mutex_);
    // Of columns beside max(), SQLite gives those of the row that has it.
    statement rows(database_,
                   "SELECT message, about, max(time_ns), bytes FROM record WHERE clock = ?1 AND time_ns <= ?2 "
                   "GROUP BY message, about");
    rows.bind(id_of(name), signed_time(time_ns));
    std::vector<clock_record> result;
    while (rows.step()) {
        result.push_back({rows.text(0),
                          rows.text(1),
                          rows.count(2),
                          rows.count(2),
                          decoded_message(rows.bytes(3)).json(),
                          {},
                          rows.count(2)});
    }
    return result;
}

store_totals sqlite_history::totals() {
    store_totals result = totals_();
    const std::lock_guard lock(mutex_);
    result.bytes = 0;
    for (const char *part : {"", "-wal"}) {
        std::error_code missing;
        const auto size = std::filesystem::file_size(database_.file() + part, missing);
        result.bytes += missing ? 0 : size;
    }
    return result;
}

}  // namespace ptp_fleet
