// What can be configured of the notification API, with its defaults.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ptp_agent::notification {

/** How members of events are spelt: producers in the field differ. */
enum class MemberSpelling : std::uint8_t {
    Standard,  ///< ResourceAddress, data_type, value_type
    Camel      ///< resource, dataType, valueType
};

/** Bounds on what strangers can make the agent do or keep. */
struct Limits {
    unsigned connections = 256;
    unsigned connections_per_peer = 128;
    std::size_t subscriptions = 256;
    std::size_t subscriptions_per_peer = 128;
    std::size_t body_bytes = 16 * 1024;
    std::size_t reply_bytes = 64 * 1024;       ///< of what a consumer answers, header included
    std::size_t queued_events = 64;            ///< per subscription; at least 8
    std::chrono::milliseconds request{5000};   ///< for a request to arrive, whole; also between two on one connection
    std::chrono::milliseconds connect{2000};   ///< to a consumer
    std::chrono::milliseconds delivery{5000};  ///< of one event, from look-up to answer
    std::chrono::milliseconds first_retry{1000};
    std::chrono::milliseconds most_retry{60000};
    std::chrono::milliseconds remove_after{std::chrono::hours{24}};  ///< of failures without a success; 0: never
};

struct Configuration {
    std::string listen_address = "127.0.0.1";  ///< numeric, IPv4 or IPv6
    std::uint16_t port = 9043;                 ///< 0: any that is free
    bool allow_unprotected = false;            ///< listen beyond loopback without tokens or TLS
    std::string cluster_name = "cluster";
    std::string node_name;         ///< empty: the host's name
    bool os_clock = true;          ///< something hands over the state of the operating system's clock
    bool gnss = false;             ///< something hands over the state of a GNSS receiver
    std::string state_file;        ///< keeps subscriptions; empty: they end with the process
    std::string token_file;        ///< one bearer token a line; empty: none is asked for
    std::string certificate_file;  ///< PEM, with its chain; empty: no TLS
    std::string key_file;          ///< PEM
    std::string consumer_ca_file;  ///< PEM, to verify https consumers by; empty: the system's
    /** Where consumers may be: `10.0.0.0/8`, `::1`. Empty: private networks, and loopback where the API listens there. */
    std::vector<std::string> consumer_networks;
    MemberSpelling spelling = MemberSpelling::Standard;
    Limits limits;
};

}  // namespace ptp_agent::notification
