// Sends a command when nobody else has sent one that its sender does not know of.
#include "nats_desk.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "alarm_json.h"
#include "base/clocks.h"
#include "command_message.h"

namespace ptp_fleet {
namespace {

constexpr double patience_s = 10;
constexpr std::uint64_t answer_ns = 30'000'000'000;
constexpr std::int64_t listener_ms = 300;  // within which a server says that nobody listens
constexpr char bucket_name[] = "PTP-COMMANDS";

}  // namespace

const char *to_text(command_fate of) {
    constexpr const char *texts[] = {"sent", "answered", "silent", "conflict", "refused"};
    return texts[static_cast<std::size_t>(of)];
}

nats_desk::nats_desk(const std::string &uri, const std::string &name, int replicas, const fleet_state &state,
                     notes &kept)
    : server_(uri, false, patience_s),
      name_(name),
      prefix_(server_.settings().send),
      state_(state),
      notes_(kept),
      next_(kept.last_command() + 1) {
    kvStore *found = nullptr;
    if (js_KeyValue(&found, server_.stream_context(), bucket_name) != NATS_OK) {
        kvConfig wanted;
        kvConfig_Init(&wanted);
        wanted.Bucket = bucket_name;
        wanted.StorageType = js_FileStorage;
        wanted.Replicas = replicas;
        check(js_CreateKeyValue(&found, server_.stream_context(), &wanted), uri + ": bucket " + bucket_name);
    }
    bucket_.reset(found);
}

nats_desk::last_one nats_desk::last_of(const std::string &element) {
    kvEntry *entry = nullptr;
    const natsStatus status = kvStore_Get(&entry, bucket_.get(), element.c_str());
    if (status == NATS_NOT_FOUND) {
        return {};
    }
    check(status, "the number of commands to " + element);
    const char *text = kvEntry_ValueString(entry);
    const auto value = nlohmann::json::parse(text != nullptr ? text : "", nullptr, false);
    last_one result;
    result.revision = kvEntry_Revision(entry);
    kvEntry_Destroy(entry);
    if (value.is_object()) {
        result.version = value.value("version", std::uint64_t{0});
        result.who = value.value("who", "") + " with " + value.value("message", "") + " at " + value.value("time", "");
    }
    return result;
}

std::uint64_t nats_desk::version(const std::string &element) {
    return is_subject_name(element) ? last_of(element).version : 0;
}

bool nats_desk::take_number(command_entry &of, std::uint64_t seen) {
    const last_one last = last_of(of.element);
    of.version = last.version;
    if (last.version != seen) {
        of.reason = "since version " + std::to_string(seen) + " it was sent another command, by " + last.who +
                    ", and is at version " + std::to_string(last.version);
        return false;
    }
    const std::string value =
        nlohmann::json{{"version", seen + 1}, {"who", of.who}, {"message", of.message}, {"time", time_text(of.time_ns)}}
            .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    const natsStatus status =
        last.revision == 0
            ? kvStore_CreateString(nullptr, bucket_.get(), of.element.c_str(), value.c_str())
            : kvStore_UpdateString(nullptr, bucket_.get(), of.element.c_str(), value.c_str(), last.revision);
    if (status != NATS_OK) {
        const last_one now = last_of(of.element);
        of.reason = now.revision == last.revision ? vela::nats::reason_of(status)
                                                  : "it was just sent another command, by " + now.who;
        of.version = now.version;
        return false;
    }
    of.version = seen + 1;
    return true;
}

bool nats_desk::publish(command_entry &of, const std::vector<std::uint8_t> &bytes) {
    const std::string subject = prefix_ + "-cmd." + of.element + "." + of.message;
    natsMsg *made = nullptr;
    check(natsMsg_Create(&made, subject.c_str(), nullptr, reinterpret_cast<const char *>(bytes.data()),
                         static_cast<int>(bytes.size())),
          subject);
    const vela::nats::message_handle command(made);
    const std::string id = "ptp_fleet." + name_ + "." + of.element + "-" + std::to_string(of.version);
    natsMsgHeader_Set(made, "Nats-Msg-Id", id.c_str());
    natsMsgHeader_Set(made, "Ptp-Time", std::to_string(of.time_ns).c_str());
    natsMsgHeader_Set(made, "Ptp-Role", "command");
    // Elements do not answer requests, but the server says when there is nobody who could.
    natsMsg *reply = nullptr;
    const natsStatus status = natsConnection_RequestMsg(&reply, server_.connection(), made, listener_ms);
    natsMsg_Destroy(reply);
    if (status != NATS_OK && status != NATS_TIMEOUT) {
        of.reason = status == NATS_NO_RESPONDERS ? "nobody listens at " + subject + ": the element is not connected"
                                                 : vela::nats::reason_of(status);
        return false;
    }
    return true;
}

command_entry nats_desk::send(const command_request &request) {
    command_entry made;
    made.element = request.element;
    made.json = request.json;
    made.who = request.who;
    made.time_ns = base::clock_ns(CLOCK_REALTIME);
    made.fate = command_fate::refused;
    std::vector<std::uint8_t> bytes;
    const std::lock_guard lock(mutex_);
    try {
        made.id = next_++;
        if (!is_subject_name(request.element)) {
            throw std::runtime_error("there is no element of that name");
        }
        bytes = encode_command(request.json, made.message);
        if (!take_number(made, request.version)) {
            made.fate = command_fate::conflict;
        } else if (publish(made, bytes)) {
            made.fate = command_fate::sent;
            pending_.push_back(made);
        }
    } catch (const std::runtime_error &error) {
        made.reason = error.what();
    }
    notes_.put(made);
    return made;
}

void nats_desk::add_answer(const std::string &element, const change_entry &of) {
    for (command_entry &each : pending_) {
        if (each.element == element) {
            each.fate = command_fate::answered;
            each.answer.push_back(of);
        }
    }
}

void nats_desk::note(const change_entry &of) {
    const std::lock_guard lock(mutex_);
    add_answer(of.name.element, of);
}

void nats_desk::note(const clock_name &name, const std::string &message) {
    const std::lock_guard lock(mutex_);
    const bool is_waited_for = std::any_of(pending_.begin(), pending_.end(),
                                           [&](const command_entry &each) { return each.element == name.element; });
    if (!is_waited_for) {
        return;
    }
    for (const clock_record &record : state_.records(name)) {
        if (record.message == message && !record.changed.empty()) {
            std::string fields;
            for (const std::string &path : record.changed) {
                fields += (fields.empty() ? "" : ", ") + path;
            }
            add_answer(name.element, {name, record.changed_ns, message, "", fields});
        }
    }
}

void nats_desk::settle(std::uint64_t now_ns) {
    const std::lock_guard lock(mutex_);
    for (command_entry &each : pending_) {
        const bool is_over = now_ns > each.time_ns + answer_ns;
        if (each.fate == command_fate::sent && is_over) {
            each.fate = command_fate::silent;
            each.reason = "it has reported no change in " + std::to_string(answer_ns / 1'000'000'000) + " s";
        }
        if (each.fate != command_fate::sent) {
            notes_.put(each);
        }
    }
    // Whatever else comes of it comes soon: the answer is complete after a short while.
    std::erase_if(pending_, [&](const command_entry &each) { return now_ns > each.time_ns + answer_ns; });
}

}  // namespace ptp_fleet
