// The C face of channels: checks arguments, keeps exceptions in.
#include <errno.h>
#include <stddef.h>
#include <string.h>

#include <new>

#include "channel.h"

using namespace vela::transport;

namespace {

constexpr u_int32 most_message = 64u * 1024 * 1024;

void set_default(u_int32 &value, u_int32 preset) { value = value != 0 ? value : preset; }

// Options as long as they were when channels first had them; members behind are newer.
constexpr size_t shortest_options = offsetof(vela_channel_options, describe);

// The options with defaults filled in; false when they are out of range.
bool complete(const vela_channel_options *given, vela_channel_options &options, failure &why) {
    options = {};
    if (given != nullptr && given->size != sizeof(vela_channel_options) && given->size != shortest_options) {
        why = {VELA_EINVAL, "channel options: size is " + std::to_string(given->size) + ", expected " +
                                std::to_string(sizeof(vela_channel_options))};
        return false;
    }
    if (given != nullptr) {
        memcpy(&options, given, given->size);
    }
    set_default(options.max_message, 1024 * 1024);
    set_default(options.queue_messages, 1024);
    set_default(options.queue_bytes, 8 * 1024 * 1024);
    set_default(options.max_peers, 64);
    set_default(options.idle_ms, 3000);
    set_default(options.socket_mode, 0600);
    set_default(options.reconnect_first_ms, 10);
    set_default(options.reconnect_most_ms, 1000);
    set_default(options.socket_buffer, options.max_message + 4096);
    if (options.max_message > most_message || options.socket_buffer > 2 * most_message) {
        why = {VELA_EINVAL, "channel options: max_message is above " + std::to_string(most_message)};
        return false;
    }
    if (options.socket_mode > 0777 || options.reconnect_first_ms > options.reconnect_most_ms) {
        why = {VELA_EINVAL, "channel options: socket_mode or reconnect_first_ms is out of range"};
        return false;
    }
    options.queue_bytes = options.queue_bytes < options.max_message ? options.max_message : options.queue_bytes;
    return true;
}

using opener = bool (connections::*)(failure &);

std::unique_ptr<vela_channel> make_channel(const char *domain_name, const char *uri, const vela_channel_options *given,
                                           opener open, failure &why) {
    const domain *of = find_domain(domain_name);
    if (of == nullptr) {
        why = {VELA_EINVAL, "'" + std::string(domain_name != nullptr ? domain_name : "") +
                                "' is no domain: use gable, wicket, skein or osprey"};
        return nullptr;
    }
    vela_channel_options options;
    if (!complete(given, options, why)) {
        return nullptr;
    }
    backend_options parts = {options.max_message,          options.socket_mode,
                             options.socket_buffer,        options.allow_other_users != 0,
                             open == &connections::listen, options.describe};
    std::unique_ptr<backend> place =
        make_backend(uri != nullptr ? std::string(uri) : "inproc:" + std::string(of->name), parts, why);
    if (place == nullptr) {
        return nullptr;
    }
    auto channel = std::make_unique<vela_channel>(*of, std::move(place), options);
    return (channel->connections().*open)(why) ? std::move(channel) : nullptr;
}

vela_channel *open_channel(const char *domain_name, const char *uri, const vela_channel_options *options, opener open,
                           char *error_text, size_t room, u_int32 *err) {
    return base::make_or_fail(err, error_text, room, "no memory for a channel",
                              [&](failure &why) { return make_channel(domain_name, uri, options, open, why); });
}

// Runs a send; 1 when it was accepted.
template <typename Send>
u_int32 accept_or_fail(u_int32 *err, Send send) {
    return base::call_or_fail(err, [&] {
        *err = send();
        return *err == 0;
    });
}

// Runs what delivers messages, unless that is under way.
template <typename Deliver>
u_int32 deliver_or_fail(const vela_channel *channel, u_int32 *err, Deliver deliver) {
    return base::call_or_fail(err, [&]() -> u_int32 {
        if (channel->is_processing()) {
            *err = VELA_EINVAL;
            return 0;
        }
        return deliver();
    });
}

}  // namespace

vela_channel *vela_channel_listen(const char *domain, const char *uri, const vela_channel_options *options,
                                  char *error_text, size_t room, u_int32 *err) {
    return open_channel(domain, uri, options, &connections::listen, error_text, room, err);
}

vela_channel *vela_channel_connect(const char *domain, const char *uri, const vela_channel_options *options,
                                   char *error_text, size_t room, u_int32 *err) {
    return open_channel(domain, uri, options, &connections::connect, error_text, room, err);
}

void vela_channel_close(vela_channel *channel, vela_channel_statistics *statistics) {
    if (channel == nullptr) {
        return;
    }
    try {
        channel->connections().shut_down();
    } catch (const std::bad_alloc &) {
        // Only the text of an event was to be made; the counters are right.
    }
    if (statistics != nullptr) {
        *statistics = channel->connections().statistics();
    }
    delete channel;
}

const char *vela_channel_uri(const vela_channel *channel) { return channel->uri().c_str(); }

int vela_channel_fd(const vela_channel *channel) { return channel->fd(); }

u_int32 vela_channel_wait(vela_channel *channel, int32 timeout_ms) {
    return channel->is_processing() ? 0 : channel->connections().wait(timeout_ms < 0 ? -1 : timeout_ms);
}

u_int32 vela_channel_process(vela_channel *channel, vela_handle *handle, u_int32 mem_class, void *context,
                             u_int32 limit, u_int32 *err) {
    return deliver_or_fail(channel, err, [&] { return channel->process({handle, mem_class, context}, limit); });
}

u_int32 vela_channel_send(vela_channel *channel, const u_int8 *bytes, u_int32 length, u_int32 *err) {
    return accept_or_fail(err, [&] { return channel->send({bytes, length, 0}); });
}

u_int32 vela_channel_reply(vela_channel *channel, const u_int8 *bytes, u_int32 length, u_int32 *err) {
    return accept_or_fail(err, [&] { return channel->reply({bytes, length, 0}); });
}

u_int32 vela_channel_finish(vela_channel *channel, vela_handle *handle, u_int32 mem_class, void *context,
                            u_int32 timeout_ms, u_int32 *err) {
    return deliver_or_fail(channel, err, [&] {
        return channel->finish({handle, mem_class, context}, timeout_ms) ? 1u : 0u;
    });
}

u_int32 vela_channel_unconfirmed(const vela_channel *channel) { return channel->connections().unconfirmed(); }

const char *vela_channel_peer(const vela_channel *channel) {
    const std::string *sender = channel->sender();
    return sender != nullptr ? sender->c_str() : nullptr;
}

void vela_channel_get_statistics(const vela_channel *channel, vela_channel_statistics *statistics) {
    *statistics = channel->connections().statistics();
}
