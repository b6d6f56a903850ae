// A client that is slow gets several changes as one.
#include "change_feed.h"

#include "base/clocks.h"
#include "documents.h"
#include "rows.h"

namespace ptp_fleet {
namespace {

constexpr std::chrono::seconds longest_silence(15);

void put_event(std::string &out, const char *name, const std::string &data) {
    out += "event: ";
    out += name;
    out += "\ndata: " + data + "\n\n";
}

}  // namespace

change_feed::change_feed(const services &from, const clock_table &table, std::uint64_t since)
    : from_(from), table_(table), since_(since), alarms_since_(since), spoke_(std::chrono::steady_clock::now()) {}

std::string change_feed::next() {
    std::string out = is_first_ ? "retry: 2000\n\n" : "";
    is_first_ = false;
    const std::uint64_t change = table_.change();
    if (change != since_) {
        const std::uint64_t now = base::clock_ns(CLOCK_REALTIME);
        out += "id: " + std::to_string(change) + "\n";
        put_event(out, "clocks", rows_text(table_, since_, all_columns(), now));
        put_event(out, "overview", to_text(overview_json(from_, table_, now)));
        since_ = change;
        const std::uint64_t alarms = table_.alarm_change();
        if (alarms != alarms_since_) {
            put_event(out, "alarms", std::to_string(alarms));
            alarms_since_ = alarms;
        }
    }
    const auto now = std::chrono::steady_clock::now();
    if (out.empty() && now - spoke_ > longest_silence) {
        out = ": nothing changed\n\n";
    }
    spoke_ = out.empty() ? spoke_ : now;
    return out;
}

}  // namespace ptp_fleet
