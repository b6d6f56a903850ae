// What libvela calls: keeps exceptions in.
#include <stdio.h>

#include <new>
#include <system_error>

#include "link.h"

namespace {

using vela::nats::link;

link *of(vela_transport_link *each) { return reinterpret_cast<link *>(each); }
const link *of(const vela_transport_link *each) { return reinterpret_cast<const link *>(each); }

// What a call gives; `otherwise` when memory or threads were short.
template <typename result, typename callee>
result guarded(result otherwise, callee call) {
    try {
        return call();
    } catch (const std::bad_alloc &) {
        return otherwise;
    } catch (const std::system_error &) {
        return otherwise;
    }
}

vela_transport_link *open(const vela_transport_request *request, char *error_text, size_t room, u_int32 *err) {
    base::failure why = {VELA_ENOMEM, "no memory or no threads"};
    link *opened = guarded<link *>(nullptr, [&]() -> link * {
        vela::nats::settings settings;
        if (!vela::nats::read_settings(*request, settings, why)) {
            return nullptr;
        }
        auto made = std::make_unique<link>(std::move(settings), *request);
        return made->open(why) ? made.release() : nullptr;
    });
    if (opened == nullptr) {
        *err = why.code;
        snprintf(error_text, room, "%s", why.text.c_str());
    }
    return reinterpret_cast<vela_transport_link *>(opened);
}

void close(vela_transport_link *each) { delete of(each); }

const char *peer(const vela_transport_link *each) { return of(each)->peer(); }

int fd(const vela_transport_link *each) { return of(each)->fd(); }

u_int32 send(vela_transport_link *each, const u_int8 *bytes, u_int32 length, u_int32 *progress) {
    return guarded(0u, [&] { return of(each)->send(bytes, length, *progress) ? 1u : 0u; });
}

u_int32 receive(vela_transport_link *each, vela_transport_frame *frame) {
    return guarded(0u, [&] { return of(each)->receive(*frame) ? 1u : 0u; });
}

u_int32 next_note(vela_transport_link *each, vela_transport_note *note) {
    return guarded(0u, [&] { return of(each)->next_note(*note) ? 1u : 0u; });
}

u_int32 unconfirmed(const vela_transport_link *each) { return of(each)->unconfirmed(); }

u_int32 at_risk(const vela_transport_link *each) { return of(each)->at_risk(); }

u_int32 finish(vela_transport_link *each) { return of(each)->finish() ? 1u : 0u; }

constexpr vela_transport_plugin plugin = {
    .version = VELA_TRANSPORT_PLUGIN_VERSION,
    .open = open,
    .close = close,
    .peer = peer,
    .fd = fd,
    .send = send,
    .receive = receive,
    .next_note = next_note,
    .unconfirmed = unconfirmed,
    .at_risk = at_risk,
    .finish = finish,
};

}  // namespace

const vela_transport_plugin *vela_transport_plugin_describe() { return &plugin; }
