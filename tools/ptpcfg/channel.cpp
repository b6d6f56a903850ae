// Opens channels, and puts their events into words.
#include "channel.h"

#include <algorithm>

#include "failure.h"
#include "reflection.h"

namespace ptpcfg {
namespace {

struct domain_entry {
    const char *name;
    u_int32 (*add)(vela_bundle_handler handler);
    u_int32 (*remove)();
};

constexpr domain_entry domains[] = {
    {"gable", gable_bundle_handler_register, gable_bundle_handler_unregister},
    {"wicket", wicket_bundle_handler_register, wicket_bundle_handler_unregister},
    {"skein", skein_bundle_handler_register, skein_bundle_handler_unregister},
    {"osprey", osprey_bundle_handler_register, osprey_bundle_handler_unregister},
};

}  // namespace

std::vector<std::string> channel_names() {
    std::vector<std::string> names;
    for (const domain_entry &row : domains) {
        names.emplace_back(row.name);
    }
    return names;
}

channel open_channel(open_channel_fn open, const channel_options &options, vela_channel_event_fn event, void *cookie) {
    vela_channel_options details{};
    details.size = sizeof details;
    details.event = event;
    details.event_cookie = cookie;
    details.describe = ptp_cfg_message_describe;
    details.idle_ms = static_cast<u_int32>(std::min(options.idle_limit * 1000, 4e9));
    char reason[256] = "";
    u_int32 err = 0;
    channel result(open(options.channel.c_str(), options.uri.c_str(), &details, reason, sizeof reason, &err));
    if (result == nullptr) {
        const std::string text = reason[0] != 0 ? reason : error_text(err);
        const bool has_uri = text.find(options.uri) != std::string::npos;
        throw failure(err == VELA_EINVAL ? exit_code::usage : exit_code::peer,
                      has_uri ? text : options.uri + ": " + text);
    }
    return result;
}

void set_bundle_handler(const std::string &channel, vela_bundle_handler handler) {
    for (const domain_entry &row : domains) {
        if (channel == row.name) {
            handler != nullptr ? row.add(handler) : row.remove();
        }
    }
}

std::string text_of(const vela_channel_event &event, const std::string &uri) {
    const std::string text = event.text != nullptr ? event.text : "";
    const std::string prefix = uri + ": ";
    return text.compare(0, prefix.size(), prefix) == 0 ? text.substr(prefix.size()) : text;
}

vela_channel_statistics statistics_of(const channel &channel) {
    vela_channel_statistics statistics{};
    vela_channel_get_statistics(channel.get(), &statistics);
    return statistics;
}

}  // namespace ptpcfg
