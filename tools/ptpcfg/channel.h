// A transport channel that closes itself, for the subcommands that send and receive.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "vela_transport.h"

namespace ptpcfg {

struct channel_options {
    std::string uri;
    std::string channel = "gable";
    double timeout = -1;
    double idle_limit = 0;  // seconds; 0: the library's default
    bool connect = false;   // who receives is the connecting end
};

struct close_channel {
    void operator()(vela_channel *channel) const { vela_channel_close(channel, nullptr); }
};
using channel = std::unique_ptr<vela_channel, close_channel>;

/** Names of the transport's channels. */
std::vector<std::string> channel_names();

using open_channel_fn = vela_channel *(*)(const char *domain, const char *uri, const vela_channel_options *options,
                                          char *error_text, size_t room, u_int32 *err);

/** Opens either end; what happens on it is told to `event`. */
channel open_channel(open_channel_fn open, const channel_options &options, vela_channel_event_fn event, void *cookie);

/** Sets or, with nullptr, takes back the bundle handler of a channel. */
void set_bundle_handler(const std::string &channel, vela_bundle_handler handler);

/** What an event tells, without the channel's URI, which lines of ptpcfg begin with. */
std::string text_of(const vela_channel_event &event, const std::string &uri);

vela_channel_statistics statistics_of(const channel &channel);

}  // namespace ptpcfg
