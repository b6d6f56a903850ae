// A channel: the peers of one place, and one descriptor that tells when there is work.
#pragma once

#include <sys/epoll.h>

#include <vector>

#include "admission.h"
#include "base/file_descriptor.h"
#include "domains.h"
#include "peer.h"
#include "timetable.h"

// Everything may throw std::bad_alloc; the channel then goes on with what it has.
struct vela_channel {
  public:
    struct delivery {
        vela_handle *handle;
        u_int32 mem_class;
        void *context;
    };

    vela_channel(const vela::transport::domain &of, std::unique_ptr<vela::transport::mechanism> mechanism,
                 const vela_channel_options &options);
    ~vela_channel();
    vela_channel(const vela_channel &) = delete;
    vela_channel &operator=(const vela_channel &) = delete;

    // One of them once, before anything else. False with the reason.
    bool listen(vela::transport::failure &why);
    bool connect(vela::transport::failure &why);

    // Each returns 0 or the error.
    u_int32 send(vela::transport::frame_view frame);
    u_int32 reply(vela::transport::frame_view frame);

    // Whether something came to be done within that time; negative: no limit.
    bool wait(int timeout_ms);
    bool is_processing() const { return is_processing_; }
    u_int32 process(const delivery &to, u_int32 limit);
    // Goes on with an orderly end, for so long; true when it is over.
    bool finish(const delivery &to, u_int32 timeout_ms);
    // Makes a last attempt to send, reports what is lost and says farewell to the peers.
    void shut_down();

    int fd() const { return epoll_.get(); }
    const std::string &uri() const { return uri_; }
    vela_channel_statistics statistics() const;
    u_int32 unconfirmed() const;

  private:
    using peer = vela::transport::peer;

    int look(int timeout_ms);
    bool open_descriptors(vela::transport::failure &why);
    bool wants_peers() const;
    void watch_listening();
    void look_around_soon();

    u_int32 process_all(const delivery &to, u_int32 most);
    u_int32 serve(peer &of, u_int32 events, const delivery &to, u_int32 most);
    u_int32 receive_from(peer &of, const delivery &to, u_int32 most);
    bool deliver(peer &from, vela::transport::frame_view frame, const delivery &to);
    void flush(peer &to);
    void on_timer();

    void accept_peers();
    bool has_room();
    void refuse(u_int32 err, std::string text);
    void tell_of_refused();
    void try_connect();
    void connect_later();
    void adopt(std::unique_ptr<vela::transport::peer_link> connection);
    void open(peer &of);
    void retire_ended();
    void retire(std::unique_ptr<peer> of);
    u_int32 open_peers() const;

    void finish_peers();
    bool is_over() const { return peers_.empty() && waiting_.empty(); }

    u_int32 check(vela::transport::frame_view frame) const;
    u_int32 send_to(peer &to, vela::transport::frame_view frame);
    void look_after(const peer &of);
    u_int32 send_to_all(vela::transport::frame_view frame);
    void drop(const peer &from, u_int32 err, const std::string &text, vela::transport::frame_view frame);
    void tell(vela_channel_event_kind kind, u_int32 err, u_int32 messages, const std::string &text,
              u_int64 delivered = 0, vela::transport::frame_view frame = {});

    const vela::transport::domain &domain_;
    std::unique_ptr<vela::transport::mechanism> mechanism_;
    vela_channel_options options_;
    vela::transport::queue_limits limits_;
    std::string uri_;
    vela::transport::file_descriptor epoll_;
    vela::transport::timetable times_;
    int listening_ = -1;
    bool is_listening_watched_ = false;
    bool is_connector_ = false;
    bool is_finishing_ = false;

    std::vector<std::unique_ptr<peer>> peers_;
    vela::transport::frame_queue waiting_;  // accepted while no peer was there
    peer *last_sender_ = nullptr;           // where the next message is looked for first
    peer *current_ = nullptr;               // whose message is being delivered
    bool is_processing_ = false;
    u_int32 quick_turns_ = 0;

    static constexpr int most_events = 64;
    epoll_event events_[most_events] = {};  // what the descriptor told last, for the next full turn
    int event_count_ = 0;

    vela::transport::refusals refusals_;
    u_int32 next_wait_ms_;
    u_int64 connected_at_ms_ = 0;
    vela_channel_statistics counters_ = {};
};
