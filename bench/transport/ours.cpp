// The clock message from marshal to handler over a channel: marshalled, sent, received by the other end, unmarshalled
// and given to the application's handler, which destroys it. In bundles the sender also creates and destroys each.
#include "harness/contender.h"
#include "records/messages.h"
#include "records/records.h"
#include "transport/passage.h"
#include "transport/socket_path.h"
#include "vela_bundle.h"
#include "vela_transport.h"

namespace bench {
namespace {

void on_bundle(vela_handle *handle, u_int32 mem_class, const u_int8 *bundle, u_int32 length, void *context) {
    u_int32 err = 0;
    vela_bundle_reader reader{};
    vela_bundle_read(&reader, bundle, length, &err);
    vela_bundle_item item{};
    while (vela_bundle_next(&reader, &item) != 0) {
        ptp_cfg_dispatch(handle, mem_class, context, nullptr, nullptr, item.message, item.length, &err);
    }
}

/** Both ends of a channel. */
struct channel_pair {
    vela_handle *sender = make_handle();
    vela_handle *receiver = make_handle();
    ptp_clock_cfg_message *message = make_clock_message(sender);
    vela_bundle *bundle;
    receipt got;
    u_int32 err = 0;
    u_int32 sent = 0;
    vela_channel *listening;
    vela_channel *connecting;

    explicit channel_pair(const std::string &uri) {
        listening = vela_channel_listen("gable", uri.c_str(), nullptr, nullptr, 0, &err);
        require(err == 0, "listen at " + uri);
        connecting = vela_channel_connect("gable", vela_channel_uri(listening), nullptr, nullptr, 0, &err);
        ptp_cfg_bundle_handler_register(on_bundle);
        require(err == 0, "open a channel at " + uri);
        vela_channel_statistics statistics{};
        for (int tries = 0; tries < 100 && statistics.peers == 0; ++tries) {
            vela_channel_process(connecting, sender, mem_class, nullptr, 0, &err);
            vela_channel_process(listening, receiver, mem_class, &got, 0, &err);
            vela_channel_get_statistics(listening, &statistics);
        }
        require(statistics.peers == 1, "connect to " + uri);
        bundle = vela_bundle_open(sender, mem_class, 65536, &err);
        vela_bundle_abort(sender);
    }
    ~channel_pair() {
        vela_bundle_destroy(bundle);
        ptp_cfg_bundle_handler_unregister();
        vela_channel_close(connecting, nullptr);
        vela_channel_close(listening, nullptr);
    }

    /** Sends and receives; now and then the sender looks at its end, as an event loop would. */
    u_int32 hand_over(const u_int8 *bytes, u_int32 length) {
        vela_channel_send(connecting, bytes, length, &err);
        if (++sent % 32 == 0) {
            vela_channel_process(connecting, sender, mem_class, nullptr, 0, &err);
        }
        return vela_channel_process(listening, receiver, mem_class, &got, 1, &err);
    }

    u_int32 pass_message() {
        u_int8 bytes[256];
        return hand_over(bytes, ptp_clock_cfg_message_marshal(sender, mem_class, bytes, message, sizeof bytes, &err));
    }

    u_int32 pass_bundle() {
        vela_bundle_reopen(sender, bundle, &err);
        for (u_int32 i = 0; i < bundle_messages; ++i) {
            ptp_clock_cfg_message *each = ptp_clock_cfg_message_create(sender, mem_class);
            u_int32 room = 0;
            u_int8 *space = vela_bundle_space(sender, &room);
            const u_int32 length = ptp_clock_cfg_message_marshal(sender, mem_class, space, each, room, &err);
            vela_bundle_commit(sender, length, &err);
            ptp_clock_cfg_message_destroy(sender, mem_class, each);
        }
        const u_int8 *bytes = nullptr;
        u_int32 length = 0;
        vela_bundle_close(sender, &bytes, &length, &err);
        return hand_over(bytes, length);
    }
};

std::string check_pair(channel_pair &f) {
    f.got.keep = true;
    f.pass_message();
    f.got.keep = false;
    if (!is_example(f.receiver, f.got) || f.err != 0) {
        return "another message came, error " + std::to_string(f.err);
    }
    const u_int64 before = f.got.messages;
    f.pass_bundle();
    return f.got.messages - before == bundle_messages && f.err == 0 ? "" : "messages of a bundle were lost";
}

channel_pair &inproc() {
    static channel_pair it("inproc:bench");
    return it;
}
channel_pair &unix_socket() {
    static socket_path place;
    static channel_pair it("unix:" + place.path());
    return it;
}
channel_pair &tcp() {
    static channel_pair it("tcp:127.0.0.1:0");
    return it;
}

template <channel_pair &(*pair)()>
contender over(const char *scenario) {
    return {scenario, "ours", [] { return check_pair(pair()); },
            passage_works([] { return pair().pass_message(); }, [] { return pair().pass_bundle(); })};
}

const contender entries[] = {over<inproc>("transport_inproc"), over<unix_socket>("transport_unix"),
                             over<tcp>("transport_tcp")};

}  // namespace
}  // namespace bench
