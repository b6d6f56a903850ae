// What a nats: URI and the environment ask for.
#pragma once

#include <string>
#include <string_view>

#include "base/failure.h"
#include "vela_transport_plugin.h"

namespace vela::nats {

using base::failure;

enum class delivery { all, fresh, last };

struct settings {
    std::string servers;  // "nats://HOST:PORT,nats://HOST:PORT"
    std::string place;    // the first server, for people
    std::string send;     // subject to publish on, perhaps with {message}; empty: none
    std::string receive;  // subject to subscribe to; empty: none

    bool is_acknowledged = true;  // JetStream confirms what is published
    std::string durable;          // name of the consumer that remembers how far this receiver got; empty: none
    std::string stream;           // that the consumer is of; empty: the server finds it
    std::string queue;            // receivers of one name share the messages
    delivery from = delivery::all;

    std::string store;  // folder that keeps what is not confirmed; empty: a file that ends with the channel
    u_int64 store_bytes = 256 * 1024 * 1024;
    u_int64 window = 512;  // messages on their way at once

    bool has_tls = false;
    std::string ca, certificate, key;  // files
    std::string credentials;           // file
    std::string user, password_file, token_file;
};

// Reads what follows "nats:", and the environment for what that does not say. False with the reason.
bool read_settings(const vela_transport_request &request, settings &out, failure &why);

// Whether a name consists of tokens with dots between; wildcards, and {message}, where they are allowed.
bool is_subject(std::string_view text, bool may_have_wildcards);

// The first line of a file, for secrets. False with the reason.
bool read_secret(const std::string &file, std::string &out, failure &why);

}  // namespace vela::nats
