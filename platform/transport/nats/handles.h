// What the NATS client hands out, with owners.
#pragma once

#include <nats/nats.h>

#include <future>
#include <memory>
#include <string>

namespace vela::nats {

template <auto destroy>
struct destroyer {
    template <typename thing>
    void operator()(thing *each) const {
        destroy(each);
    }
};

using options_handle = std::unique_ptr<natsOptions, destroyer<natsOptions_Destroy>>;
using connection_handle = std::unique_ptr<natsConnection, destroyer<natsConnection_Destroy>>;
using subscription_handle = std::unique_ptr<natsSubscription, destroyer<natsSubscription_Destroy>>;
using message_handle = std::unique_ptr<natsMsg, destroyer<natsMsg_Destroy>>;
using context_handle = std::unique_ptr<jsCtx, destroyer<jsCtx_Destroy>>;

// Why the last call of this thread failed, without the place in the client's sources.
inline std::string reason_of(natsStatus status) {
    const char *detail = nats_GetLastError(nullptr);
    const std::string text = detail != nullptr && detail[0] != '\0' ? detail : natsStatus_GetText(status);
    const size_t place = text.starts_with('(') ? text.find("): ") : std::string::npos;
    return place != std::string::npos ? text.substr(place + 3) : text;
}

// Ends a subscription with a callback, which has returned for the last time when this does.
inline void end_subscription(subscription_handle &of) {
    std::promise<void> completed;
    const auto complete = [](void *promise) { static_cast<std::promise<void> *>(promise)->set_value(); };
    if (of && natsSubscription_SetOnCompleteCB(of.get(), complete, &completed) == NATS_OK) {
        natsSubscription_Unsubscribe(of.get());
        completed.get_future().wait();
    }
    of.reset();
}

}  // namespace vela::nats
