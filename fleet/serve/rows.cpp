// Text is put together by hand: 10 000 rows of 20 values are made in some milliseconds.
#include "rows.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "documents.h"

namespace ptp_fleet {
namespace {

constexpr std::uint64_t ns_in_ms = 1'000'000;

void put_text(std::string &out, std::string_view text) { out += to_text(json(text)); }

void put_number(std::string &out, std::uint64_t value) {
    std::array<char, 24> digits;
    out.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr);
}

void put_time(std::string &out, std::uint64_t ns) {
    if (ns == 0) {
        out += "null";
    } else {
        put_number(out, ns / ns_in_ms);
    }
}

void put(std::string &out, const std::optional<int> &value) { out += value ? std::to_string(*value) : "null"; }

/** Hundredths of a nanosecond are more than any element measures. */
void put(std::string &out, const std::optional<double> &value) {
    if (!value || !std::isfinite(*value)) {
        out += "null";
        return;
    }
    std::array<char, 350> digits;
    const double rounded = std::round(*value * 100) / 100;
    out.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), rounded).ptr);
}

void put(std::string &out, const std::optional<clock_identity> &value) {
    out += value ? '"' + to_text(*value) + '"' : "null";
}

using writer = void (*)(std::string &out, const clock_row &row, std::size_t place);

struct column {
    std::string_view name;
    writer write;
};

// clang-format off
constexpr std::array columns{
    column{"index", [](std::string &out, const clock_row &, std::size_t place) { put_number(out, place); }},
    column{"clock", [](std::string &out, const clock_row &row, std::size_t) { put_text(out, to_text(row.is.name)); }},
    column{"change", [](std::string &out, const clock_row &row, std::size_t) { put_number(out, row.change); }},
    column{"state", [](std::string &out, const clock_row &row, std::size_t) { put_text(out, to_text(row.is.lock)); }},
    column{"since", [](std::string &out, const clock_row &row, std::size_t) { put_time(out, row.is.lock_since_ns); }},
    column{"silent", [](std::string &out, const clock_row &row, std::size_t) { out += row.is_silent ? "true" : "false"; }},
    column{"heard", [](std::string &out, const clock_row &row, std::size_t) { put_time(out, row.is.heard_ns); }},
    column{"changed", [](std::string &out, const clock_row &row, std::size_t) { put_time(out, row.is.changed_ns); }},
    column{"identity", [](std::string &out, const clock_row &row, std::size_t) { put(out, row.is.identity); }},
    column{"grandmaster", [](std::string &out, const clock_row &row, std::size_t) { put(out, row.is.grandmaster); }},
    column{"parent", [](std::string &out, const clock_row &row, std::size_t) { put(out, row.is.parent); }},
    column{"steps", [](std::string &out, const clock_row &row, std::size_t) { put(out, row.is.steps_removed); }},
    column{"clock_class", [](std::string &out, const clock_row &row, std::size_t) { put(out, row.is.clock_class); }},
    column{"grandmaster_class", [](std::string &out, const clock_row &row, std::size_t) { put(out, row.is.grandmaster_class); }},
    column{"priority1", [](std::string &out, const clock_row &row, std::size_t) { put(out, row.is.priority1); }},
    column{"priority2", [](std::string &out, const clock_row &row, std::size_t) { put(out, row.is.priority2); }},
    column{"domain", [](std::string &out, const clock_row &row, std::size_t) { put(out, row.is.domain); }},
    column{"offset", [](std::string &out, const clock_row &row, std::size_t) { put(out, row.is.offset_ns); }},
    column{"delay", [](std::string &out, const clock_row &row, std::size_t) { put(out, row.is.path_delay_ns); }},
    column{"alarms", [](std::string &out, const clock_row &row, std::size_t) { put_number(out, row.alarms); }},
    column{"severity", [](std::string &out, const clock_row &row, std::size_t) {
        out += row.alarms > 0 ? '"' + std::string(to_text(row.worst)) + '"' : "null"; }},
};
// clang-format on

void put_row(std::string &out, const clock_row &row, std::size_t place, const column_list &of) {
    out += '[';
    for (const std::size_t one : of) {
        columns[one].write(out, row, place);
        out += ',';
    }
    out.back() = ']';
}

void put_head(std::string &out, std::uint64_t change, bool is_all, const column_list &of, std::uint64_t now_ns) {
    out += "{\"time\":";
    put_number(out, now_ns / ns_in_ms);
    out += ",\"change\":";
    put_number(out, change);
    out += is_all ? ",\"complete\":true,\"columns\":[" : ",\"complete\":false,\"columns\":[";
    for (const std::size_t one : of) {
        put_text(out, columns[one].name);
        out += ',';
    }
    out.back() = ']';
    out += ",\"rows\":[";
}

}  // namespace

column_list all_columns() {
    column_list all(columns.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        all[i] = i;
    }
    return all;
}

std::optional<column_list> read_columns(std::string_view names, std::string &unknown) {
    column_list found;
    while (true) {
        const std::string_view name = names.substr(0, names.find(','));
        const auto *const one =
            std::find_if(columns.begin(), columns.end(), [name](const column &each) { return each.name == name; });
        if (one == columns.end() || found.size() == columns.size()) {
            unknown = name;
            return std::nullopt;
        }
        found.push_back(static_cast<std::size_t>(one - columns.begin()));
        if (name.size() == names.size()) {
            return found;
        }
        names.remove_prefix(name.size() + 1);
    }
}

std::string rows_text(const clock_table &table, std::optional<std::uint64_t> since, const column_list &of,
                      std::uint64_t now_ns) {
    const std::uint64_t change = table.change();
    bool is_all = true;
    const std::vector<std::size_t> places = table.changed_after(since.value_or(0), is_all);
    std::string out;
    out.reserve(256 + places.size() * (of.size() * 13));
    put_head(out, change, is_all, of, now_ns);
    table.look([&](const std::vector<clock_row> &rows) {
        for (const std::size_t place : places) {
            put_row(out, rows[place], place, of);
            out += ',';
        }
    });
    if (out.back() == ',') {
        out.pop_back();
    }
    out += "]}";
    return out;
}

std::string row_text(const clock_row &of, std::size_t place) {
    std::string out = "{";
    for (const column &one : columns) {
        put_text(out, one.name);
        out += ':';
        one.write(out, of, place);
        out += ',';
    }
    out.back() = '}';
    return out;
}

}  // namespace ptp_fleet
