// The peers of a channel: how they come, by connecting or being accepted, and how they go.
#pragma once

#include <vector>

#include "admission.h"
#include "channel_context.h"
#include "outbox.h"
#include "poller.h"

namespace vela::transport {

// Everything may throw std::bad_alloc; the channel then goes on with what it has.
class connections {
  public:
    connections(channel_context &context, poller &events, outbox &out, std::unique_ptr<backend> place);
    connections(const connections &) = delete;
    connections &operator=(const connections &) = delete;

    // One of them once, before anything else. False with the reason.
    bool listen(failure &why);
    bool connect(failure &why);

    // ---- a turn of processing: all events, then settle() ----

    // Whether something came to be done within that time; negative: no limit.
    bool wait(int timeout_ms);
    // The peer that an event is about; null for the channel's own, which is then seen to.
    peer *peer_of(const epoll_event &event);
    // Lets go of the peers that have ended, and accepts those who wait.
    void settle();

    // ---- the peers ----

    const std::vector<std::unique_ptr<peer>> &peers() const { return peers_; }
    // Where the next message is looked for first; null for nowhere.
    peer *last_sender() const { return last_sender_; }
    void set_last_sender(peer &of) { last_sender_ = &of; }
    // Goes on with a peer that is not open yet.
    void establish(peer &of);
    // Tells the channel's owner what the link of a peer has to tell.
    void tell_notes(peer &of);

    // Adds what is known of the peers to the counters.
    vela_channel_statistics statistics() const;
    u_int32 unconfirmed() const;

    // ---- the end ----

    // From now on only those are peers who are to get what waits.
    void begin_finish() { is_finishing_ = true; }
    bool is_finishing() const { return is_finishing_; }
    // Tells each peer that has got all that nothing more comes; it says the same when it has read all, and is let go.
    void finish_peers();
    bool is_over() const { return peers_.empty() && outbox_.waiting().empty(); }
    // Makes a last attempt to send, reports what is lost and says farewell to the peers.
    void shut_down();

  private:
    bool open_poller(failure &why);
    bool wants_peers() const;
    void watch_listening();
    void on_timer();

    void accept_peers();
    bool has_room();
    void refuse(u_int32 err, std::string text);
    void tell_of_refused();
    void try_connect();
    void connect_later();
    void adopt(std::unique_ptr<peer_link> connection);
    void open(peer &of);
    void retire_ended();
    void retire(std::unique_ptr<peer> of);
    void note_end_of_call(peer &of);
    u_int32 open_peers() const;

    channel_context &context_;
    poller &poller_;
    outbox &outbox_;
    std::unique_ptr<backend> place_;
    int listening_ = -1;
    bool is_listening_watched_ = false;
    bool is_connector_ = false;
    bool is_finishing_ = false;
    bool is_called_ = false;  // somebody waits to be accepted

    std::vector<std::unique_ptr<peer>> peers_;
    peer *last_sender_ = nullptr;

    refusals refusals_;
    u_int32 next_wait_ms_;
    u_int64 connected_at_ms_ = 0;
};

}  // namespace vela::transport
