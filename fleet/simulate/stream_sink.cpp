// Publishes reports over one connection. Each element counts its own, so that a receiver sees what is missing of whom.
#include <chrono>
#include <thread>
#include <vector>

#include "server.h"
#include "sinks.h"

namespace ptp_fleet {
namespace {

using vela::nats::message_handle;

constexpr int64_t window = 4096;
constexpr int64_t confirmation_ms = 5000;
constexpr int attempts = 6;  // of confirmation_ms each, before a server is given up
constexpr std::chrono::milliseconds pause(100);
constexpr double patience_s = 30;  // for a server

class stream : public report_sink {
  public:
    stream(const std::string &uri, std::string boot, std::uint32_t elements)
        : boot_(std::move(boot)), sequences_(elements), server_(uri, false, patience_s) {
        jsOptions options;
        jsOptions_Init(&options);
        options.PublishAsync.MaxPending = window;
        options.PublishAsync.ErrHandler = again;
        jsCtx *made = nullptr;
        const natsStatus status = natsConnection_JetStream(&made, server_.connection(), &options);
        context_.reset(made);
        check(status, uri);
    }

    void take(const report &one, std::uint64_t time_ns) override {
        const std::string element = "sim" + std::to_string(one.element);
        const std::string subject = server_.settings().send + "." + element + ".0." + one.message;
        natsMsg *made = nullptr;
        natsStatus status =
            natsMsg_Create(&made, subject.c_str(), nullptr, reinterpret_cast<const char *>(one.bytes.data()),
                           static_cast<int>(one.bytes.size()));
        const std::string id = boot_ + "." + element + "-" + std::to_string(++sequences_[one.element]);
        status = status == NATS_OK ? natsMsgHeader_Set(made, "Nats-Msg-Id", id.c_str()) : status;
        status = status == NATS_OK ? natsMsgHeader_Set(made, "Ptp-Time", std::to_string(time_ns).c_str()) : status;
        message_handle message(made);
        for (int attempt = 0; status == NATS_OK; ++attempt) {
            natsMsg *next = message.release();
            const natsStatus taken = js_PublishMsgAsync(context_.get(), &next, nullptr);
            message.reset(next);
            if (taken == NATS_OK) {
                return;
            }
            if (attempt == attempts * 10) {  // each waited for room in the window
                status = taken;
            } else if (attempt % 10 == 9) {
                publish_again();
            }
        }
        check(status, subject);
    }

    void finish() override {
        jsPubOptions options;
        jsPubOptions_Init(&options);
        options.MaxWait = confirmation_ms;
        natsStatus status = NATS_OK;
        for (int attempt = 0; attempt < attempts; ++attempt) {
            status = js_PublishAsyncComplete(context_.get(), &options);
            if (status == NATS_OK) {
                return;
            }
            publish_again();
        }
        check(status, "not everything was confirmed");
    }

  private:
    /** A server that was away may never have seen what is not confirmed. The stream knows what it has by the id. */
    void publish_again() {
        natsMsgList list = {};
        if (js_PublishAsyncGetPendingList(&list, context_.get()) != NATS_OK) {
            return;
        }
        for (int i = 0; i < list.Count; ++i) {
            js_PublishMsgAsync(context_.get(), &list.Msgs[i], nullptr);
        }
        natsMsgList_Destroy(&list);
    }

    static void again(jsCtx *context, jsPubAckErr *error, void *) {
        std::this_thread::sleep_for(pause);
        js_PublishMsgAsync(context, &error->Msg, nullptr);
    }

    std::string boot_;
    std::vector<std::uint64_t> sequences_;
    server server_;
    vela::nats::context_handle context_;
};

}  // namespace

std::unique_ptr<report_sink> make_stream(const std::string &uri, const std::string &boot, std::uint32_t elements) {
    return std::make_unique<stream>(uri, boot, elements);
}

}  // namespace ptp_fleet
