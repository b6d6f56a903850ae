// A message is published under an id that is the same whenever it is sent again, so that the stream keeps it once.
#include "publisher.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>

#include "base/clocks.h"
#include "vela_bundle.h"

namespace vela::nats {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds answer_limit(5000);  // after which everything that was not confirmed goes again
constexpr milliseconds first_pause(100);    // when the server refuses
constexpr milliseconds longest_pause(2000);
constexpr milliseconds look_every(200);
constexpr u_int32 note_every = 256;  // confirmations
constexpr int too_large = 10054;     // the stream's own limit

struct answer_content {
    bool is_confirmed = false;
    bool is_too_large = false;
    std::string reason;
};

answer_content read_answer(natsMsg *answer) {
    answer_content result;
    if (natsMsg_IsNoResponders(answer)) {
        result.reason = "no stream of the server takes the subject";
        return result;
    }
    const char *text = natsMsg_GetData(answer);
    const auto json = nlohmann::json::parse(text, text + natsMsg_GetDataLength(answer), nullptr, false);
    if (json.is_object() && json.contains("error") && json["error"].is_object()) {
        result.reason = json["error"].value("description", "refused");
        result.is_too_large = json["error"].value("err_code", 0) == too_large;
    } else {
        result.is_confirmed = json.is_object() && json.contains("seq");
        result.reason = result.is_confirmed ? "" : "what answers on the subject is no stream";
    }
    return result;
}

}  // namespace

// ---- what the channel gives ------------------------------------------------------------------------------------

bool publisher::take_one(const u_int8 *bytes, u_int32 length) {
    const char *name = nullptr;
    stored_message message;
    message.time_ns = base::clock_ns(CLOCK_REALTIME);
    message.role = describe_ != nullptr ? describe_(bytes, length, &name) : VELA_MESSAGE_UNKNOWN;
    message.bytes.assign(bytes, bytes + length);
    u_int32 dropped = 0;
    failure why;
    const message_store::outcome outcome = store_.add(std::move(message), dropped, why);
    if (dropped > 0) {
        board_.tell_again({VELA_CHANNEL_LOST, VELA_ENOSPC, dropped, "the store is full: the oldest reports gave way"});
    }
    if (outcome == message_store::outcome::failed) {
        board_.tell_again({VELA_CHANNEL_REFUSED, why.code, 1, "nothing more can be stored: " + why.text});
    }
    is_full_ = outcome != message_store::outcome::taken;
    return !is_full_;
}

bool publisher::take(const u_int8 *bytes, u_int32 length, u_int32 &progress) {
    vela_bundle_reader reader = {};
    u_int32 err = 0;
    vela_bundle_read(&reader, bytes, length, &err);
    vela_bundle_item item = {};
    bool is_taken = true;
    while (is_taken && vela_bundle_next(&reader, &item) != 0) {
        const bool is_new = item.err == 0 && item.index >= progress;
        is_taken = !is_new || take_one(item.message, item.length);
        progress += is_new && is_taken ? 1 : 0;
    }
    board_.changed.notify_all();
    return is_taken;
}

// ---- publishing ------------------------------------------------------------------------------------------------

std::string publisher::subject_of(const stored_message &message) const {
    constexpr std::string_view placeholder = "{message}";
    std::string subject = settings_.send;
    const size_t at = subject.find(placeholder);
    if (at != std::string::npos) {
        const char *name = nullptr;
        if (describe_ != nullptr) {
            describe_(message.bytes.data(), static_cast<u_int32>(message.bytes.size()), &name);
        }
        subject.replace(at, placeholder.size(), name != nullptr ? name : "unknown");
    }
    return subject;
}

natsStatus publisher::publish(const stored_message &message, natsConnection *to, const std::string &subject) {
    constexpr const char *roles[] = {"unknown", "command", "event", "report"};
    const std::string sequence = std::to_string(message.sequence);
    const std::string answer = settings_.is_acknowledged ? answers_ + sequence : "";
    natsMsg *made = nullptr;
    natsStatus status =
        natsMsg_Create(&made, subject.c_str(), answer.empty() ? nullptr : answer.c_str(),
                       reinterpret_cast<const char *>(message.bytes.data()), static_cast<int>(message.bytes.size()));
    const message_handle owner(made);
    const auto add = [&](const char *name, const std::string &value) {
        status = status == NATS_OK ? natsMsgHeader_Set(made, name, value.c_str()) : status;
    };
    add("Nats-Msg-Id", store_.identity() + "-" + sequence);
    add("Ptp-Time", std::to_string(message.time_ns));
    add("Ptp-Role", roles[std::min<size_t>(message.role, std::size(roles) - 1)]);
    return status == NATS_OK ? natsConnection_PublishMsg(to, made) : status;
}

void publisher::publish_next(std::unique_lock<std::mutex> &lock, const connection &over) {
    stored_message message;
    u_int32 damaged = 0;
    const bool has_message = store_.take_next(message, damaged);
    if (damaged > 0) {
        board_.tell_again({VELA_CHANNEL_LOST, VELA_EINVAL, damaged, "the disk lost what was stored"});
    }
    if (!has_message) {
        return;
    }
    last_answer_ = on_their_way_ == 0 ? clock::now() : last_answer_;
    ++on_their_way_;
    lock.unlock();
    const auto most = natsConnection_GetMaxPayload(over.get());
    const bool is_too_large = most > 0 && message.bytes.size() + 256 > static_cast<u_int64>(most);
    const natsStatus status = is_too_large ? NATS_MAX_PAYLOAD : publish(message, over.get(), subject_of(message));
    lock.lock();
    if (status == NATS_MAX_PAYLOAD) {
        give_up(message.sequence, "longer than the server takes");
    } else if (status != NATS_OK) {
        hold_back(VELA_ENOTCONN, natsStatus_GetText(status));
    } else if (!settings_.is_acknowledged) {
        confirm(message.sequence);
    }
}

// ---- what comes of it, with the mutex held ---------------------------------------------------------------------

void publisher::confirm(u_int64 sequence) {
    if (!store_.finish(sequence)) {
        return;
    }
    on_their_way_ -= on_their_way_ > 0 ? 1 : 0;
    last_answer_ = clock::now();
    pause_ = {};
    complaint_.clear();
    if (++unnoted_ >= note_every) {
        note_progress();
    }
    if (is_full_ || (is_finishing_ && store_.unfinished() == 0)) {
        is_full_ = false;
        board_.call();
    }
    board_.changed.notify_all();
}

void publisher::give_up(u_int64 sequence, const std::string &reason) {
    board_.tell_again({VELA_CHANNEL_LOST, VELA_EMSGSIZE, 1, "a message was given up: " + reason});
    confirm(sequence);
}

// Everything that is on its way goes again, in order, after a pause.
void publisher::hold_back(u_int32 err, const std::string &reason) {
    pause_ = pause_.count() == 0 ? first_pause : std::min(pause_ * 2, longest_pause);
    resume_at_ = clock::now() + pause_;
    store_.rewind();
    on_their_way_ = 0;
    if (complaint_ != reason) {
        complaint_ = reason;
        board_.tell({VELA_CHANNEL_REFUSED, err, 0, reason + "; what is sent waits and is sent again"});
    }
    board_.changed.notify_all();
}

void publisher::note_progress() {
    failure why;
    unnoted_ = 0;
    if (!store_.note_progress(why)) {
        board_.tell_again({VELA_CHANNEL_REFUSED, why.code, 1, "the store cannot be written: " + why.text});
    }
}

void publisher::take_answer(natsMsg *answer) {
    const std::string_view subject = natsMsg_GetSubject(answer);
    const std::string_view digits = subject.substr(std::min(answers_.size(), subject.size()));
    u_int64 sequence = 0;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), sequence).ec != std::errc()) {
        return;
    }
    const answer_content content = read_answer(answer);
    const std::lock_guard lock(board_.mutex);
    if (content.is_confirmed) {
        confirm(sequence);
    } else if (content.is_too_large) {
        give_up(sequence, content.reason);
    } else if (clock::now() >= resume_at_ && on_their_way_ > 0) {
        hold_back(VELA_EAGAIN, content.reason);
    }
}

void publisher::on_answer(natsConnection *, natsSubscription *, natsMsg *answer, void *self) {
    const message_handle owner(answer);
    static_cast<publisher *>(self)->take_answer(answer);
}

// ---- the thread ------------------------------------------------------------------------------------------------

bool publisher::subscribe_to_answers(const connection &over) {
    natsInbox *inbox = nullptr;
    if (natsInbox_Create(&inbox) != NATS_OK) {
        return false;
    }
    answers_ = std::string(inbox) + ".";
    natsInbox_Destroy(inbox);
    natsSubscription *made = nullptr;
    const natsStatus status = natsConnection_Subscribe(&made, over.get(), (answers_ + "*").c_str(), on_answer, this);
    subscription_.reset(made);
    return status == NATS_OK;
}

// What was on its way when a connection ended, or for too long, may or may not have arrived.
void publisher::start_over(const connection &over) {
    const bool is_new = connection_count_ != over.count();
    const bool is_late = on_their_way_ > 0 && clock::now() - last_answer_ > answer_limit;
    if (is_new || is_late) {
        connection_count_ = over.count();
        store_.rewind();
        on_their_way_ = 0;
    }
    if (is_late && !is_new) {
        hold_back(VELA_ETIMEDOUT, "the server does not confirm what is sent");
    }
}

// Whether the next message may go.
bool publisher::is_due(const connection &over) {
    return over.is_up() && clock::now() >= resume_at_ && on_their_way_ < settings_.window && store_.has_waiting();
}

void publisher::run(const connection &over) {
    const bool can_hear = subscribe_to_answers(over);
    std::unique_lock lock(board_.mutex);
    if (!can_hear) {
        board_.tell({VELA_CHANNEL_REFUSED, VELA_ENOMEM, 0, "no subscription to confirmations"});
    }
    while (!board_.is_stopping && !over.is_closed()) {
        start_over(over);
        if (is_due(over)) {
            publish_next(lock, over);
            continue;
        }
        if (unnoted_ > 0 && on_their_way_ == 0) {
            note_progress();
        }
        if (is_full_ && board_.changed.wait_for(lock, look_every) == std::cv_status::timeout) {
            board_.call();  // there may be room on the disk again
        } else if (!is_full_) {
            board_.changed.wait_for(lock, look_every);
        }
    }
    note_progress();
}

}  // namespace vela::nats
