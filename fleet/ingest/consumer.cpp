// A durable pull consumer, which several processes may share. It asks for messages by itself: natsSubscription_Fetch of
// libnats 3.4 writes where it must not when an answer comes after its time.
#include "consumer.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "message.h"

namespace ptp_fleet {
namespace {

constexpr std::int64_t second_ns = 1'000'000'000;
constexpr std::int64_t acknowledge_within_s = 10;  // what a killed process had waits for so long
constexpr std::int64_t most_on_their_way = 20'000;
constexpr std::int64_t answer_ms = 30'000;  // making a consumer of a large stream takes a server long
constexpr int most_asked = 2000;            // messages of a request
constexpr int asked_for_s = 2;
constexpr std::uint64_t most_ahead_ns = 60 * 1'000'000'000ull;        // an element's clock
constexpr std::uint64_t most_behind_ns = 30 * 86'400'000'000'000ull;  // what an element may have stored

const char *header(natsMsg *of, const char *name) {
    const char *value = nullptr;
    return natsMsgHeader_Get(of, name, &value) == NATS_OK && value != nullptr ? value : "";
}

std::uint64_t number_of(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? value : 0;
}

/** When the server took it: $JS.ACK.….TIMESTAMP.PENDING, with one more behind where the server is in a domain. */
std::uint64_t taken_ns(std::string_view reply) {
    const auto dots = std::count(reply.begin(), reply.end(), '.');
    for (int behind = dots > 9 ? 2 : 1; behind > 0; --behind) {
        reply = reply.substr(0, std::min(reply.rfind('.'), reply.size()));
    }
    return number_of(reply.substr(reply.rfind('.') + 1));
}

/** "ptp.tower7.0.MESSAGE" without its prefix into its three names. */
bool read_subject(std::string_view subject, std::size_t prefix, journal_entry &out) {
    const std::size_t element = prefix + 1;
    const std::size_t clock = subject.find('.', element);
    const std::size_t message = clock == std::string_view::npos ? clock : subject.find('.', clock + 1);
    if (message == std::string_view::npos || subject.find('.', message + 1) != std::string_view::npos) {
        return false;
    }
    out.name.element = subject.substr(element, clock - element);
    out.name.clock = subject.substr(clock + 1, message - clock - 1);
    out.message = subject.substr(message + 1);
    return true;
}

bool read_id(std::string_view id, journal_entry &out) {
    const std::size_t dash = id.rfind('-');
    out.sequence = dash == std::string_view::npos ? 0 : number_of(id.substr(dash + 1));
    out.source = id.substr(0, std::min(dash, id.size()));
    return out.sequence != 0 && !out.source.empty();
}

}  // namespace

std::string consumer::find_stream(const std::string &subject) {
    natsMsg *made = nullptr;
    check(natsConnection_RequestString(&made, server_.connection(), "$JS.API.STREAM.NAMES",
                                       nlohmann::json{{"subject", subject}}.dump().c_str(), answer_ms),
          "the streams cannot be listed");
    const vela::nats::message_handle answer(made);
    const std::string_view text(natsMsg_GetData(made), static_cast<std::size_t>(natsMsg_GetDataLength(made)));
    const auto names = nlohmann::json::parse(text, nullptr, false).value("streams", std::vector<std::string>());
    if (names.empty()) {
        throw std::runtime_error("no stream has " + subject + "; ptp_fleet prepare makes one");
    }
    return names.front();
}

void consumer::make(const std::string &name, const std::string &subject) {
    jsConsumerConfig wanted;
    jsConsumerConfig_Init(&wanted);
    wanted.Durable = name.c_str();
    wanted.AckPolicy = js_AckExplicit;
    wanted.AckWait = acknowledge_within_s * second_ns;
    wanted.MaxAckPending = most_on_their_way;
    wanted.DeliverPolicy = js_DeliverAll;
    wanted.FilterSubject = subject.c_str();
    jsOptions patient;
    jsOptions_Init(&patient);
    patient.Wait = answer_ms;
    check(js_AddConsumer(nullptr, server_.stream_context(), stream_.c_str(), &wanted, &patient, nullptr),
          "no consumer of " + subject);
}

consumer::consumer(const std::string &uri, const std::string &name, double patience_s)
    : server_(uri, false, patience_s), prefix_(server_.settings().send) {
    const std::string subject = prefix_ + ".>";
    stream_ = find_stream(subject);
    make(name, subject);
    request_ = "$JS.API.CONSUMER.MSG.NEXT." + stream_ + "." + name;
    natsInbox *inbox = nullptr;
    check(natsInbox_Create(&inbox), "no name for an inbox");
    inbox_ = inbox;
    natsInbox_Destroy(inbox);
    natsSubscription *made = nullptr;
    check(natsConnection_SubscribeSync(&made, server_.connection(), inbox_.c_str()), inbox_);
    subscription_.reset(made);
}

void consumer::ask() {
    const std::string wanted = nlohmann::json{{"batch", most_asked}, {"expires", asked_for_s * second_ns}}.dump();
    check(natsConnection_PublishRequestString(server_.connection(), request_.c_str(), inbox_.c_str(), wanted.c_str()),
          "messages cannot be asked for");
    asked_ = most_asked;
    // Of a server that was restarted meanwhile nothing comes of it.
    asked_until_ = clock::now() + std::chrono::seconds(asked_for_s + 1);
}

std::optional<incoming> consumer::next(int most_ms) {
    const auto end = clock::now() + std::chrono::milliseconds(most_ms);
    for (;;) {
        if (asked_ <= 0 || clock::now() > asked_until_) {
            ask();
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - clock::now()).count();
        natsMsg *made = nullptr;
        const natsStatus status = natsSubscription_NextMsg(&made, subscription_.get(), std::max<std::int64_t>(left, 1));
        vela::nats::message_handle message(made);
        if (status == NATS_TIMEOUT && !server_.is_gone()) {
            return std::nullopt;
        }
        check(status, "messages cannot be fetched");
        if (*header(made, "Status") == '\0') {
            --asked_;
            return read(std::move(message));
        }
        asked_ = 0;  // the request has ended
        if (clock::now() >= end) {
            return std::nullopt;
        }
    }
}

incoming consumer::read(vela::nats::message_handle message) const {
    natsMsg *of = message.get();
    incoming result;
    result.message = std::move(message);
    journal_entry &entry = result.entry;
    const std::string_view reply = natsMsg_GetReply(of) != nullptr ? natsMsg_GetReply(of) : "";
    entry.heard_ns = taken_ns(reply);
    const auto *data = reinterpret_cast<const std::uint8_t *>(natsMsg_GetData(of));
    entry.bytes.assign(data, data + natsMsg_GetDataLength(of));
    const std::uint64_t time_ns = number_of(header(of, "Ptp-Time"));
    const bool is_plausible = time_ns <= entry.heard_ns + most_ahead_ns && time_ns + most_behind_ns > entry.heard_ns;
    entry.time_ns = is_plausible ? time_ns : entry.heard_ns;
    if (!read_subject(natsMsg_GetSubject(of), prefix_.size(), entry)) {
        result.fault = "the subject is not " + prefix_ + ".ELEMENT.CLOCK.MESSAGE";
    } else if (!read_id(header(of, "Nats-Msg-Id"), entry)) {
        result.fault = "has no Nats-Msg-Id that ends with - and a number";
    } else if (const std::uint32_t word = header_word_of(entry.bytes); word != 0) {
        entry.name.clock = std::to_string(word);
    }
    return result;
}

void consumer::acknowledge(const std::vector<incoming> &all) {
    for (const incoming &each : all) {
        // One that is lost on its way comes again, and is known by its number then.
        natsConnection_PublishString(server_.connection(), natsMsg_GetReply(each.message.get()), "+ACK");
    }
}

void consumer::bury(const incoming &of, const std::string &reason) {
    const std::string subject =
        prefix_ + "-dead" + std::string(natsMsg_GetSubject(of.message.get())).substr(prefix_.size());
    natsMsg *made = nullptr;
    check(natsMsg_Create(&made, subject.c_str(), nullptr, natsMsg_GetData(of.message.get()),
                         natsMsg_GetDataLength(of.message.get())),
          subject);
    const vela::nats::message_handle letter(made);
    for (const char *name : {"Nats-Msg-Id", "Ptp-Time", "Ptp-Role"}) {
        if (const char *value = header(of.message.get(), name); *value != '\0') {
            natsMsgHeader_Set(made, name, value);
        }
    }
    natsMsgHeader_Set(made, "Ptp-Reason", reason.c_str());
    if (js_PublishMsg(nullptr, server_.stream_context(), made, nullptr, nullptr) != NATS_OK) {
        // Without a stream for them those see it who listen now.
        natsConnection_PublishMsg(server_.connection(), made);
    }
}

}  // namespace ptp_fleet
