// What a backend provides: a way to listen or connect, and links to peers. Each is a source of its own in backends/.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/failure.h"
#include "base/file_descriptor.h"
#include "vela_transport.h"

namespace vela::transport {

using base::failure;
using base::file_descriptor;
using base::system_failure;

enum class io {
    done,   // a whole frame
    again,  // not now
    ended   // never again: the peer is gone
};

struct frame_view {
    const u_int8 *bytes = nullptr;
    u_int32 length = 0;
    u_int32 fault = 0;  // non-zero: a frame came but could not be taken, for this reason
};

// Something that a link tells the channel's owner.
struct link_note {
    vela_channel_event_kind kind = VELA_CHANNEL_CONNECTED;
    u_int32 err = 0;
    u_int32 messages = 0;
    std::string text;
};

// A connection to one peer. Nothing here blocks.
class peer_link {
  public:
    virtual ~peer_link() = default;

    // Readable when there is something to receive or the peer is gone.
    virtual int fd() const = 0;
    // Whether `fd` tells by being writable that sending is possible again. If not, it becomes readable then.
    virtual bool polls_output() const { return true; }
    // Goes on with a connection that takes time; `done` when frames may be sent.
    virtual io establish(int &) { return io::done; }
    // Sends the frame from `progress` on, a count of the link's own which starts at 0 and is kept between calls.
    virtual io send(frame_view frame, u_int32 &progress, int &error) = 0;
    // Receives the next frame; its bytes stay until the next call. `ended` with error 0: the peer closed.
    virtual io receive(frame_view &frame, int &error) = 0;
    // Whether a frame has come that `fd` does not tell of any more.
    virtual bool holds_frame() const { return false; }
    // Upper bound of the frames that the peer, which is gone, has not read of those that were sent.
    virtual u_int32 unread() = 0;
    // The same of a peer that is there.
    virtual u_int32 unconfirmed() = 0;
    // Tells the peer that nothing more comes; receive() goes on. To be called after everything was sent, again and
    // again until it returns true.
    virtual bool finish_output() = 0;
    // The last call before the link is closed although the peer is there. Returns the frames that it may cost the peer.
    virtual u_int32 leave() { return 0; }
    // The only call on a link that was accepted without a place for the peer: says so to the peer, whose receive() then
    // ends with EAGAIN.
    virtual void refuse() {}
    // Whether the link itself tells, by notes, when its peer comes and goes; else the channel does.
    virtual bool has_notes() const { return false; }
    virtual bool next_note(link_note &) { return false; }
    // The peer, for messages to people.
    virtual const std::string &peer() const = 0;
};

struct backend_options {
    u_int32 max_message;
    u_int32 socket_mode;
    u_int32 socket_buffer;
    bool allow_other_users;
    bool listens;
    vela_message_describe_fn describe;
};

// A named place that links lead to. May throw std::bad_alloc.
class backend {
  public:
    virtual ~backend() = default;

    // Starts to listen; the descriptor is readable when accept() has a link. -1 with the reason.
    virtual int listen(failure &why) = 0;
    // The next link, or null: EAGAIN when there is none now, EACCES when the peer was turned away.
    virtual std::unique_ptr<peer_link> accept(failure &why) = 0;
    // A link to whoever listens, perhaps still to be established; or null.
    virtual std::unique_ptr<peer_link> connect(failure &why) = 0;
    // The place, as a URI.
    virtual std::string uri() const = 0;
};

// Makes the backend of a scheme from what follows it in the URI; null with the reason.
using backend_maker = std::unique_ptr<backend>(const std::string &rest, const backend_options &options, failure &why);

// Chooses the backend that a URI names; null with the reason.
std::unique_ptr<backend> make_backend(const std::string &uri, const backend_options &options, failure &why);

}  // namespace vela::transport
