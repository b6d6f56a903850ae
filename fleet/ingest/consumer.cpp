// A durable pull consumer, which several processes may share, and what its messages say of themselves.
#include "consumer.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>

#include "message.h"

namespace ptp_fleet {
namespace {

constexpr std::int64_t second_ns = 1'000'000'000;
constexpr std::int64_t acknowledge_within_s = 10;  // what a killed process had waits for so long
constexpr std::int64_t most_on_their_way = 20'000;
constexpr std::int64_t answer_ms = 30'000;  // making a consumer of a large stream takes a server long
constexpr int most_asked = 2000;            // messages of a request
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
    stream_ = vela::nats::stream_of(server_.connection(), subject, answer_ms);
    if (stream_.empty()) {
        throw std::runtime_error("no stream has " + subject + "; ptp_fleet prepare makes one");
    }
    make(name, subject);
    check(pull_.open(server_.connection(), stream_, name, most_asked), "no inbox for what is asked for");
}

std::optional<incoming> consumer::next(int most_ms) {
    vela::nats::message_handle message;
    const natsStatus status = pull_.next(message, most_ms);
    if (status == NATS_TIMEOUT && !server_.is_gone()) {
        return std::nullopt;
    }
    check(status, "messages cannot be fetched");
    return read(std::move(message));
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
        pull_.confirm(each.message.get());  // one that is lost on its way comes again, and is known by its number then
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
