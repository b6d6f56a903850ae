// Counts over all clocks: single clocks, of which there may be many thousands, are the API's business.
#include "prometheus.h"

#include <algorithm>
#include <array>
#include <map>

namespace ptp_fleet {
namespace {

void put_head(std::string &out, const char *name, const char *type, const char *help) {
    out += std::string("# HELP ") + name + ' ' + help + "\n# TYPE " + name + ' ' + type + '\n';
}

void put(std::string &out, const char *name, const char *type, const char *help, std::uint64_t value) {
    put_head(out, name, type, help);
    out += std::string(name) + ' ' + std::to_string(value) + '\n';
}

void put_states(std::string &out, const clock_table &table) {
    std::array<std::size_t, lock_states> by_lock = {};
    std::size_t silent = 0;
    table.look([&](const std::vector<clock_row> &rows) {
        for (const clock_row &row : rows) {
            ++(row.is_silent ? silent : by_lock[static_cast<std::size_t>(row.is.lock)]);
        }
    });
    put_head(out, "ptp_fleet_clocks", "gauge", "Clocks by state; who is silent is not counted under its last state.");
    for (std::size_t i = 0; i < lock_states; ++i) {
        out += std::string("ptp_fleet_clocks{state=\"") + to_text(static_cast<lock_state>(i)) + "\"} " +
               std::to_string(by_lock[i]) + '\n';
    }
    out += "ptp_fleet_clocks{state=\"silent\"} " + std::to_string(silent) + '\n';
}

std::string escaped(const std::string &text) {
    std::string out;
    for (const char letter : text) {
        out += letter == '\\' || letter == '"' ? std::string{'\\', letter} : std::string(1, letter);
    }
    return out;
}

void put_alarms(std::string &out, const alarm_book &book) {
    std::map<std::pair<std::string, std::string>, std::size_t> counts;
    for (const alarm &one : book.active()) {
        ++counts[{one.rule, to_text(one.is)}];
    }
    put_head(out, "ptp_fleet_alarms", "gauge", "Alarms that stand.");
    for (const auto &[key, count] : counts) {
        out += "ptp_fleet_alarms{rule=\"" + escaped(key.first) + "\",severity=\"" + key.second + "\"} " +
               std::to_string(count) + '\n';
    }
}

}  // namespace

std::uint64_t last_heard(const clock_table &table) {
    return table.look([](const std::vector<clock_row> &rows) {
        std::uint64_t last = 0;
        for (const clock_row &row : rows) {
            last = std::max(last, row.is.heard_ns);
        }
        return last;
    });
}

std::string metrics_text(const services &from, const clock_table &table, std::uint64_t now_ns) {
    std::string out;
    put_states(out, table);
    put_alarms(out, from.alarms);
    const store_totals totals = from.past.totals();
    put(out, "ptp_fleet_messages_total", "counter", "Messages kept, each once.", totals.messages);
    put(out, "ptp_fleet_messages_missing_total", "counter", "Numbers that elements skipped.", totals.missing);
    put(out, "ptp_fleet_messages_repeated_total", "counter", "Messages that came again.", totals.repeated);
    put(out, "ptp_fleet_messages_refused_total", "counter", "What came and was no message.", totals.refused);
    put(out, "ptp_fleet_store_bytes", "gauge", "Size of the store.", totals.bytes);
    const std::uint64_t heard = last_heard(table);
    put(out, "ptp_fleet_heard_seconds_ago", "gauge", "Since the last message of any element.",
        heard == 0 || heard > now_ns ? 0 : (now_ns - heard) / 1'000'000'000);
    return out;
}

}  // namespace ptp_fleet
