// The link of a library of its own, as a channel sees one.
#include "plugin.h"

#include <errno.h>
#include <sys/eventfd.h>

namespace vela::transport {
namespace {

class plugin_link : public peer_link {
  public:
    plugin_link(const vela_transport_plugin &plugin, vela_transport_link *link)
        : plugin_(plugin), link_(link), peer_(plugin.peer(link)) {}
    ~plugin_link() override { plugin_.close(link_); }

    int fd() const override { return plugin_.fd(link_); }
    bool polls_output() const override { return false; }
    const std::string &peer() const override { return peer_; }

    io send(frame_view frame, u_int32 &progress, int &) override {
        return plugin_.send(link_, frame.bytes, frame.length, &progress) != 0 ? io::done : io::again;
    }

    io receive(frame_view &frame, int &error) override {
        vela_transport_frame next = {};
        if (plugin_.receive(link_, &next) != 0) {
            frame = {next.bytes, next.length, next.fault};
            return io::done;
        }
        error = 0;
        return is_over() ? io::ended : io::again;
    }

    // The end of a finished link is told by no more than its confirmations.
    bool holds_frame() const override { return is_over(); }

    u_int32 unread() override { return plugin_.at_risk(link_); }
    u_int32 unconfirmed() override { return plugin_.unconfirmed(link_); }
    u_int32 leave() override { return plugin_.at_risk(link_); }

    bool finish_output() override {
        is_finishing_ = true;
        return true;
    }

    bool has_notes() const override { return true; }
    bool next_note(link_note &note) override {
        vela_transport_note next = {};
        if (plugin_.next_note(link_, &next) == 0) {
            return false;
        }
        note = {next.kind, next.err, next.messages, next.text};
        return true;
    }

  private:
    bool is_over() const { return is_finishing_ && plugin_.finish(link_) != 0; }

    const vela_transport_plugin &plugin_;
    vela_transport_link *link_;
    std::string peer_;
    bool is_finishing_ = false;
};

// A place with one link, which is there from the beginning.
class plugin_backend : public backend {
  public:
    plugin_backend(std::string uri, std::unique_ptr<peer_link> link) : uri_(std::move(uri)), link_(std::move(link)) {}

    int listen(failure &why) override {
        caller_ = file_descriptor(eventfd(1, EFD_NONBLOCK | EFD_CLOEXEC));
        why = caller_ ? failure{} : system_failure(errno, "no descriptor for " + uri_);
        return caller_.get();
    }

    std::unique_ptr<peer_link> accept(failure &why) override {
        u_int64 count = 0;
        [[maybe_unused]] const ssize_t got = read(caller_.get(), &count, sizeof count);
        return connect(why);
    }

    std::unique_ptr<peer_link> connect(failure &why) override {
        why = {EAGAIN, "there is one link to " + uri_};
        return std::move(link_);
    }

    std::string uri() const override { return uri_; }

  private:
    std::string uri_;
    file_descriptor caller_;
    std::unique_ptr<peer_link> link_;
};

}  // namespace

std::unique_ptr<backend> make_plugin(const std::string &scheme, const std::string &rest, const backend_options &options,
                                     failure &why) {
    const std::string uri = scheme + ":" + rest;
    const vela_transport_plugin *plugin = load_plugin(scheme, why);
    if (plugin == nullptr) {
        why.text = why.code == VELA_ENOENT ? why.text : uri + ": " + why.text;
        return nullptr;
    }
    const vela_transport_request request = {rest.c_str(), options.listens ? 1u : 0u, options.max_message,
                                            options.describe};
    char text[512] = "";
    u_int32 err = 0;
    vela_transport_link *link = plugin->open(&request, text, sizeof text, &err);
    if (link == nullptr) {
        why = {err, uri + ": " + text};
        return nullptr;
    }
    return std::make_unique<plugin_backend>(uri, std::make_unique<plugin_link>(*plugin, link));
}

}  // namespace vela::transport
