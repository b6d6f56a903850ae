// The list of targets. A new one is a row here and a line in targets.h.
#include "targets.h"

#include <algorithm>

#define ROW(name, seeds, is_text) \
    { #name, run_##name, make_##name, seeds, is_text }

namespace fuzz {
namespace {

constexpr target rows[] = {
    ROW(record, 1600, false),        ROW(message, 800, false),     ROW(dispatch, 400, false),
    ROW(bundle, 300, false),         ROW(xml, 600, true),          ROW(json, 600, true),
    ROW(formats, 600, false),        ROW(domain, 40, true),        ROW(recording, 40, false),
    ROW(recorder, 40, false),        ROW(trace, 40, false),        ROW(shared_types, 40, false),
    ROW(unix_channel, 100, false),   ROW(tcp_channel, 100, false),
#ifdef FUZZ_AGENT
    ROW(management, 60, false),      ROW(intent_file, 60, false),  ROW(intent_messages, 200, false),
    ROW(notification_api, 60, true),
#endif
};

}  // namespace

constinit const std::span<const target> targets = rows;

const target *find_target(const std::string &name) {
    const auto found = std::find_if(targets.begin(), targets.end(), [&](const target &it) { return name == it.name; });
    return found == targets.end() ? nullptr : &*found;
}

}  // namespace fuzz
