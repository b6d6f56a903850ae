// The C interface of ptp_agent_client.h.
#include "ptp_agent_client.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "base/clocks.h"
#include "base/failure.h"
#include "base/file_descriptor.h"

using Json = nlohmann::ordered_json;

/** What one message came to, with texts that stay. */
struct kept_answer {
    ptp_agent_outcome outcome;
    std::string message, object, text, json;
};

struct ptp_agent_client {
    std::string path;
    vela_channel *channel = nullptr;
    std::string name;          // of the bundle that was sent
    std::uint64_t before = 0;  // number of the newest bundle of the agent's when it was sent
    bool is_answered = false;
    std::vector<kept_answer> answers;
};

namespace {

constexpr const char *default_path = "/run/ptp_agent/status.sock";
/** The agent answers at once; who takes longer is no agent. */
constexpr timeval patience = {2, 0};
constexpr std::size_t longest_reply = std::size_t{16} << 20;
constexpr int32 pause_ms = 10;
constexpr u_int32 messages_at_once = 64;

base::file_descriptor connect_to(const std::string &path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return {};
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    base::file_descriptor made(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!made || ::connect(made.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        return {};
    }
    ::setsockopt(made.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    ::setsockopt(made.get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    return made;
}

/** Puts a question to the agent; the reply ends with the connection. errno is set where it returns false. */
bool ask(const std::string &path, const std::string &question, std::string &reply) {
    const base::file_descriptor socket = connect_to(path);
    if (!socket) {
        return false;
    }
    if (::send(socket.get(), question.data(), question.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(question.size())) {
        return false;
    }
    std::array<char, 4096> part;
    for (ssize_t count = 0; (count = ::recv(socket.get(), part.data(), part.size(), 0)) != 0;) {
        if (count < 0 && errno != EINTR) {
            return false;
        }
        reply.append(part.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (reply.size() > longest_reply) {
            errno = EMSGSIZE;
            return false;
        }
    }
    return true;
}

/** Asks and reads the reply as an object; none with an error. */
Json ask_for_object(const std::string &path, const std::string &question, u_int32 *err) {
    std::string reply;
    if (!ask(path, question, reply)) {
        *err = static_cast<u_int32>(errno);
        return {};
    }
    Json object = Json::parse(reply, nullptr, false);
    if (!object.is_object() || !object.contains("last") || !object["last"].is_number_unsigned()) {
        *err = VELA_EINVAL;  // another program, or an agent of another kind
        return {};
    }
    return object;
}

std::string text_in(const Json &object, const char *name) {
    const auto member = object.find(name);
    return member != object.end() && member->is_string() ? member->get<std::string>() : std::string();
}

kept_answer kept(const Json &answer) {
    const std::string outcome = text_in(answer, "outcome");
    return {outcome == "applied"           ? PTP_AGENT_APPLIED
            : outcome == "not expressible" ? PTP_AGENT_NOT_EXPRESSIBLE
            : outcome == "not for us"      ? PTP_AGENT_NOT_FOR_IT
                                           : PTP_AGENT_REFUSED,
            text_in(answer, "message"), text_in(answer, "object"), text_in(answer, "text"),
            answer.dump(-1, ' ', false, Json::error_handler_t::replace)};
}

std::string name_of(const u_int8 *bytes, u_int32 length) {
    char text[32];
    std::snprintf(text, sizeof text, "%08lx-%u", ::crc32_z(0, bytes, length), length);
    return text;
}

}  // namespace

ptp_agent_client *ptp_agent_client_create(const char *socket_path, char *error_text, size_t room, u_int32 *err) {
    return base::make_or_fail(err, error_text, room, "there is not enough memory", [&](base::failure &why) {
        auto made = std::make_unique<ptp_agent_client>();
        made->path = socket_path == nullptr ? default_path : socket_path;
        u_int32 code = 0;
        ask_for_object(made->path, "answers\n", &code);
        if (code != 0) {
            why = code == VELA_EINVAL ? base::failure{code, made->path + ": who answers there is no such agent"}
                                      : base::system_failure(static_cast<int>(code), made->path);
            made.reset();
        }
        return made;
    });
}

void ptp_agent_client_destroy(ptp_agent_client *client) { delete client; }

void ptp_agent_client_send(ptp_agent_client *client, vela_channel *channel, const u_int8 *bytes, u_int32 length,
                           u_int32 *err) {
    base::call_or_fail(err, [&] {
        const Json now = ask_for_object(client->path, "answers\n", err);
        if (*err == 0) {
            client->channel = channel;
            client->name = name_of(bytes, length);
            client->before = now["last"].get<std::uint64_t>();
            client->is_answered = false;
            client->answers.clear();
            vela_channel_send(channel, bytes, length, err);
        }
        return 0;
    });
}

u_int32 ptp_agent_client_poll(ptp_agent_client *client, u_int32 *err) {
    return base::call_or_fail(err, [&]() -> u_int32 {
        if (client->is_answered || client->name.empty()) {
            return client->is_answered ? 1 : 0;
        }
        const std::string question = "answers " + client->name + " " + std::to_string(client->before) + "\n";
        const Json reply = ask_for_object(client->path, question, err);
        if (*err != 0 || text_in(reply, "state") != "done" || !reply.contains("answers")) {
            return 0;
        }
        for (const Json &answer : reply["answers"]) {
            client->answers.push_back(kept(answer));
        }
        client->is_answered = true;
        return 1;
    });
}

u_int32 ptp_agent_client_wait(ptp_agent_client *client, vela_handle *handle, void *context, u_int32 timeout_ms,
                              u_int32 *err) {
    if (*err != 0 || client->channel == nullptr) {
        return 0;
    }
    const std::uint64_t end = base::clock_ns(CLOCK_MONOTONIC) + std::uint64_t{timeout_ms} * 1'000'000;
    for (;;) {
        vela_channel_wait(client->channel, pause_ms);
        vela_channel_process(client->channel, handle, 0, context, messages_at_once, err);
        if (ptp_agent_client_poll(client, err) != 0) {
            return 1;
        }
        if (*err != 0 || base::clock_ns(CLOCK_MONOTONIC) >= end) {
            return 0;
        }
    }
}

u_int32 ptp_agent_client_count(const ptp_agent_client *client) { return static_cast<u_int32>(client->answers.size()); }

void ptp_agent_client_get(const ptp_agent_client *client, u_int32 index, ptp_agent_answer *answer, u_int32 *err) {
    if (*err != 0) {
        return;
    }
    if (index >= client->answers.size()) {
        *err = VELA_ENOENT;
        return;
    }
    const kept_answer &from = client->answers[index];
    const ptp_agent_answer filled = {answer->size,        from.outcome,      from.message.c_str(),
                                     from.object.c_str(), from.text.c_str(), from.json.c_str()};
    std::memcpy(answer, &filled, std::min(answer->size, sizeof filled));
}
