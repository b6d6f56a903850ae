// Requests of messages, and what the server says of them.
#include "pull.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

namespace vela::nats {
namespace {

constexpr std::chrono::seconds asked_for(2);
constexpr int64_t leave_ms = 500;
constexpr const char *request_timed_out = "408";

nlohmann::json json_of(const natsMsg *message) {
    return nlohmann::json::parse(
        std::string_view(natsMsg_GetData(message), static_cast<size_t>(natsMsg_GetDataLength(message))), nullptr,
        false);
}

const char *status_of(natsMsg *message) {
    const char *value = nullptr;
    return natsMsgHeader_Get(message, "Status", &value) == NATS_OK && value != nullptr ? value : "";
}

}  // namespace

std::string stream_of(natsConnection *over, const std::string &subject, int64_t within_ms) {
    natsMsg *made = nullptr;
    const std::string wanted = nlohmann::json{{"subject", subject}}.dump();
    if (natsConnection_RequestString(&made, over, "$JS.API.STREAM.NAMES", wanted.c_str(), within_ms) != NATS_OK) {
        return "";
    }
    const message_handle answer(made);
    const nlohmann::json text = json_of(made);
    const auto names = text.find("streams");
    const bool has_one = names != text.end() && names->is_array() && !names->empty() && names->front().is_string();
    return has_one ? names->front().get<std::string>() : "";
}

natsStatus pull::open(natsConnection *over, const std::string &stream, const std::string &consumer, int most) {
    over_ = over;
    most_ = most;
    asked_ = 0;
    request_ = "$JS.API.CONSUMER.MSG.NEXT." + stream + "." + consumer;
    natsInbox *inbox = nullptr;
    if (const natsStatus status = natsInbox_Create(&inbox); status != NATS_OK) {
        return status;
    }
    inbox_ = inbox;
    natsInbox_Destroy(inbox);
    natsSubscription *made = nullptr;
    const natsStatus status = natsConnection_SubscribeSync(&made, over, inbox_.c_str());
    subscription_.reset(made);
    return status;
}

natsStatus pull::ask() {
    const auto expires = std::chrono::duration_cast<std::chrono::nanoseconds>(asked_for).count();
    const std::string wanted = nlohmann::json{{"batch", most_}, {"expires", expires}}.dump();
    asked_ = most_;
    // Of a server that was restarted meanwhile nothing comes of it.
    asked_until_ = clock::now() + asked_for + std::chrono::seconds(1);
    return natsConnection_PublishRequestString(over_, request_.c_str(), inbox_.c_str(), wanted.c_str());
}

natsStatus pull::next(message_handle &message, int64_t most_ms) {
    const auto end = clock::now() + std::chrono::milliseconds(most_ms);
    for (;;) {
        if (asked_ <= 0 || clock::now() > asked_until_) {
            if (const natsStatus status = ask(); status != NATS_OK) {
                return status;
            }
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - clock::now()).count();
        natsMsg *made = nullptr;
        const natsStatus status = natsSubscription_NextMsg(&made, subscription_.get(), std::max<int64_t>(left, 1));
        message.reset(made);
        if (status != NATS_OK) {
            asked_ = status == NATS_TIMEOUT ? asked_ : 0;
            return status;
        }
        const std::string said = status_of(made);
        if (said.empty()) {
            --asked_;
            return NATS_OK;
        }
        message.reset();
        asked_ = 0;  // the request has ended
        if (said != request_timed_out) {
            return NATS_ERR;
        }
        if (clock::now() >= end) {
            return NATS_TIMEOUT;
        }
    }
}

void pull::close() {
    // The server must know first that nobody asks any more: what is given back would come again to this inbox, and what is
    // on its way would wait for the end of its time.
    std::vector<message_handle> left;
    natsMsg *made = nullptr;
    const bool is_left =
        subscription_ != nullptr && natsSubscription_DrainTimeout(subscription_.get(), leave_ms) == NATS_OK;
    while (is_left && natsSubscription_NextMsg(&made, subscription_.get(), leave_ms) == NATS_OK) {
        left.emplace_back(made);
    }
    subscription_.reset();
    asked_ = 0;
    for (const message_handle &each : left) {
        if (*status_of(each.get()) == '\0') {
            give_back(each.get());
        }
    }
}

}  // namespace vela::nats
