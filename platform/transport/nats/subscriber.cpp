// Keeps what came until the channel takes it, and confirms what the channel has dealt with.
#include "subscriber.h"

#include <chrono>

namespace vela::nats {
namespace {

using std::chrono::milliseconds;

constexpr int most_fetched = 256;
constexpr int64_t fetch_ms = 500;
constexpr int64_t flush_ms = 500;
constexpr int64_t answer_ms = 5000;
constexpr milliseconds retry(500);
constexpr int most_failures = 3;  // fetches, before the consumer is looked for anew

const char *or_null(const std::string &text) { return text.empty() ? nullptr : text.c_str(); }

}  // namespace

// ---- what the channel takes, with the mutex held ---------------------------------------------------------------

bool subscriber::take(vela_transport_frame &frame) {
    if (current_ && can_confirm_) {
        pull_.confirm(current_.get());
    }
    current_.reset();
    if (waiting_.empty()) {
        return false;
    }
    current_ = std::move(waiting_.front());
    can_confirm_ = !settings_.durable.empty();
    waiting_.pop_front();
    const auto length = static_cast<u_int32>(natsMsg_GetDataLength(current_.get()));
    waiting_bytes_ -= length;
    const bool is_short = length <= max_message_;
    frame = {is_short ? reinterpret_cast<const u_int8 *>(natsMsg_GetData(current_.get())) : nullptr, length,
             is_short ? 0u : static_cast<u_int32>(VELA_EMSGSIZE)};
    if (waiting_.size() == most_waiting / 2) {
        board_.changed.notify_all();
    }
    return true;
}

void subscriber::add(message_handle message) {
    waiting_bytes_ += static_cast<u_int64>(natsMsg_GetDataLength(message.get()));
    waiting_.push_back(std::move(message));
    board_.call();
}

// ---- a plain subscription --------------------------------------------------------------------------------------

void subscriber::on_message(natsConnection *, natsSubscription *, natsMsg *message, void *self) {
    message_handle owner(message);
    subscriber &of = *static_cast<subscriber *>(self);
    const std::lock_guard lock(of.board_.mutex);
    if (of.is_finishing_) {
        return;
    }
    if (of.has_room()) {
        of.add(std::move(owner));
    } else {
        of.board_.tell_again({VELA_CHANNEL_DROPPED, VELA_EAGAIN, 1,
                              "messages came faster than they were taken; a durable receiver misses none"});
    }
}

void subscriber::start(const connection &over) {
    natsSubscription *made = nullptr;
    const char *subject = settings_.receive.c_str();
    const natsStatus status =
        settings_.queue.empty()
            ? natsConnection_Subscribe(&made, over.get(), subject, on_message, this)
            : natsConnection_QueueSubscribe(&made, over.get(), subject, settings_.queue.c_str(), on_message, this);
    subscription_.reset(made);
    if (status != NATS_OK) {
        const std::lock_guard lock(board_.mutex);
        board_.tell({VELA_CHANNEL_REFUSED, VELA_EINVAL, 0,
                     "no subscription to " + settings_.receive + ": " + natsStatus_GetText(status)});
    }
}

// ---- a durable consumer ----------------------------------------------------------------------------------------

bool subscriber::subscribe(const connection &over, jsCtx *context) {
    jsSubOptions options;
    jsSubOptions_Init(&options);
    options.Stream = or_null(settings_.stream);
    options.Config.DeliverPolicy = settings_.from == delivery::fresh  ? js_DeliverNew
                                   : settings_.from == delivery::last ? js_DeliverLastPerSubject
                                                                      : js_DeliverAll;
    options.Config.AckPolicy = js_AckExplicit;
    natsSubscription *made = nullptr;
    jsErrCode code = static_cast<jsErrCode>(0);
    const natsStatus status = js_PullSubscribe(&made, context, settings_.receive.c_str(), settings_.durable.c_str(),
                                               nullptr, &options, &code);
    const std::string reason = status != NATS_OK ? reason_of(status) : "";
    const bool is_open = status == NATS_OK && open_pull(over);
    const std::lock_guard lock(board_.mutex);
    subscription_.reset(made);
    if (status != NATS_OK && over.is_up()) {
        board_.tell_again({VELA_CHANNEL_REFUSED, VELA_ENOENT, 1,
                           "no consumer '" + settings_.durable + "' of " + settings_.receive + ": " + reason});
    }
    return is_open;
}

// The consumer is there: js_PullSubscribe() has made it, or found it.
bool subscriber::open_pull(const connection &over) {
    const std::string stream =
        settings_.stream.empty() ? stream_of(over.get(), settings_.receive, answer_ms) : settings_.stream;
    return !stream.empty() && pull_.open(over.get(), stream, settings_.durable, most_fetched) == NATS_OK;
}

// False when it failed, for more than want of messages.
bool subscriber::fetch(std::vector<message_handle> &list) {
    message_handle one;
    natsStatus status = pull_.next(one, fetch_ms);
    for (int i = 1; status == NATS_OK; ++i) {
        list.push_back(std::move(one));
        status = i < most_fetched ? pull_.next(one, 1) : NATS_TIMEOUT;
    }
    return status == NATS_TIMEOUT;
}

void subscriber::run(const connection &over) {
    jsCtx *made = nullptr;
    natsConnection_JetStream(&made, over.get(), nullptr);
    const context_handle context(made);
    int failures = 0;
    std::unique_lock lock(board_.mutex);
    while (!board_.is_stopping && !is_finishing_ && !over.is_closed()) {
        if (!over.is_up() || !has_room()) {
            board_.changed.wait_for(lock, retry);
            continue;
        }
        is_fetching_ = true;
        lock.unlock();
        std::vector<message_handle> list;
        const bool is_there = pull_.is_open() || subscribe(over, context.get());
        const bool is_fetched = is_there && fetch(list);
        lock.lock();
        for (message_handle &each : list) {
            add(std::move(each));  // also when finishing: they are this end's
        }
        is_fetching_ = false;
        failures = is_fetched ? 0 : failures + 1;
        if (failures == most_failures) {
            lock.unlock();
            pull_.close();
            lock.lock();
            failures = 0;
        }
        if (!is_fetched) {
            board_.changed.wait_for(lock, retry, [this] { return board_.is_stopping; });
        }
    }
    board_.call();
}

// A durable consumer stays with the server: it is let go, not ended, and gives to the next what was not dealt with.
void subscriber::end(const connection &over) {
    if (settings_.durable.empty()) {
        end_subscription(subscription_);
    }
    pull_.close();
    std::unique_lock lock(board_.mutex);
    if (!settings_.durable.empty()) {
        for (const message_handle &each : waiting_) {
            pull_.give_back(each.get());
        }
        waiting_.clear();
        waiting_bytes_ = 0;
    }
    can_confirm_ = false;
    const bool is_up = over.is_up();
    lock.unlock();
    if (is_up) {
        natsConnection_FlushTimeout(over.get(), flush_ms);
    }
    subscription_.reset();
}

}  // namespace vela::nats
