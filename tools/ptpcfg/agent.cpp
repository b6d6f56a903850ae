// agent: asks a running ptp_agent what it does, what happened, what it was asked, and what it would do.
#ifdef PTPCFG_WITH_AGENT

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>

#include "base/big_endian.h"
#include "base/characters.h"
#include "base/file_descriptor.h"
#include "commands.h"
#include "failure.h"
#include "files.h"
#include "input_stream.h"
#include "record_stream.h"
#include "wire.h"

namespace ptpcfg {
namespace {

using Json = nlohmann::ordered_json;

constexpr int patience_s = 10;

[[noreturn]] void fail_to_reach(const std::string &path) {
    throw failure(exit_code::peer, path + ": cannot ask the agent: " + std::strerror(errno) +
                                       (errno == ENOENT || errno == ECONNREFUSED ? "; does ptp_agent run?" : ""));
}

base::file_descriptor connected_to(const std::string &path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        fail_to_reach(path);
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    base::file_descriptor made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const timeval patience = {patience_s, 0};
    setsockopt(made.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(made.get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (!made || connect(made.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        fail_to_reach(path);
    }
    return made;
}

std::string ask(const std::string &path, const std::string &question) {
    const base::file_descriptor agent = connected_to(path);
    for (size_t sent = 0; sent < question.size();) {
        const ssize_t count = send(agent.get(), question.data() + sent, question.size() - sent, MSG_NOSIGNAL);
        if (count < 0) {
            fail_to_reach(path);
        }
        sent += static_cast<size_t>(count);
    }
    std::string answer;
    char part[16384];
    for (;;) {
        const ssize_t count = read(agent.get(), part, sizeof part);
        if (count == 0) {
            return answer;
        }
        if (count < 0) {
            fail_to_reach(path);
        }
        answer.append(part, static_cast<size_t>(count));
    }
}

Json parsed(const std::string &path, const std::string &answer) {
    Json json = Json::parse(answer, nullptr, false);
    if (json.is_discarded()) {
        throw failure(exit_code::peer, path + ": the agent's answer is no JSON");
    }
    return json;
}

/** Each reason of a refusal stands in a line of its own; here they are one. */
std::string one_line(std::string text) {
    for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos;) {
        text.replace(at, text.find_first_not_of(" \n", at) - at, "; ");
    }
    return base::printable(text);
}

/** A value of JSON as people read it; empty where it is not there. */
std::string shown(const Json &json, const char *pointer) {
    const Json value = json.value(Json::json_pointer(pointer), Json());
    return value.is_string() ? one_line(value.get<std::string>()) : value.is_null() ? "" : value.dump();
}

std::string text_of_clock(const Json &clock) {
    std::string text = "clock " + shown(clock, "/handle") + ": " + shown(clock, "/state");
    text += shown(clock, "/reason").empty() ? "" : " (" + shown(clock, "/reason") + ")";
    text += "\n  " + shown(clock, "/daemon") + " " +
            (clock.contains("process") ? shown(clock, "/process/state") + ", process " + shown(clock, "/process/id")
                                       : "is started by somebody else") +
            (shown(clock, "/answers") == "true" ? "" : ", does not answer") + "\n";
    if (clock["data_sets"].contains("default")) {
        text += "  identity " + shown(clock, "/data_sets/default/identity") + ", domain " +
                shown(clock, "/data_sets/default/domain") + ", class " +
                shown(clock, "/data_sets/default/quality/clock_class") + ", priorities " +
                shown(clock, "/data_sets/default/priority1") + " and " + shown(clock, "/data_sets/default/priority2") +
                "\n";
        text += "  grandmaster " + shown(clock, "/data_sets/parent/grandmaster") + ", offset " +
                shown(clock, "/data_sets/current/offset_from_master_ns") + " ns, " +
                shown(clock, "/data_sets/current/steps_removed") + " step(s) away\n";
    }
    for (const Json &port : clock["ports"]) {
        text +=
            "  port " + shown(port, "/number") + " " + shown(port, "/interface") + ": " + shown(port, "/state") + "\n";
    }
    text += shown(clock, "/trouble").empty() ? "" : "  trouble: " + shown(clock, "/trouble") + "\n";
    return text;
}

std::string text_of_status(const Json &status) {
    std::string text;
    for (const Json &clock : status["clocks"]) {
        text += text_of_clock(clock);
    }
    text += status["clocks"].empty() ? "no clock is configured\n" : "";
    for (const Json &plane : status["control_planes"]) {
        text += "control plane " + shown(plane, "/uri") + ": " + shown(plane, "/peers") + " connected, " +
                shown(plane, "/received") + " received, " + shown(plane, "/sent") + " sent\n";
    }
    for (const auto &[message, counts] : status["messages"].items()) {
        text += base::printable(message) + ": " + shown(counts, "/applied") + " applied, " + shown(counts, "/refused") +
                " refused, " + shown(counts, "/not_expressible") + " not expressible\n";
    }
    text += shown(status, "/last_refusal").empty() ? "" : "last refusal: " + shown(status, "/last_refusal") + "\n";
    return text;
}

std::string text_of_events(const Json &events) {
    std::string text;
    for (const Json &event : events) {
        const auto wall_ns = event.value("wall_ns", std::uint64_t{0});
        const std::time_t seconds = static_cast<std::time_t>(wall_ns / 1'000'000'000);
        std::tm utc = {};
        gmtime_r(&seconds, &utc);
        char time[64];
        std::snprintf(time, sizeof time, "%04d-%02d-%02dT%02d:%02d:%02d.%03uZ", utc.tm_year + 1900, utc.tm_mon + 1,
                      utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                      static_cast<unsigned>(wall_ns / 1'000'000 % 1000));
        const std::string subject = shown(event, "/subject");
        text += std::string(time) + " " + (subject.empty() ? "" : subject + ": ") + shown(event, "/text") + "\n";
    }
    return text;
}

std::string text_of_config(const Json &config) {
    std::string text;
    for (const Json &message : config["messages"]) {
        text += "<!-- " + shown(message, "/object") + " -->\n" + message.value("xml", "") + "\n";
    }
    for (const auto &[clock, file] : config["daemons"].items()) {
        text += "\n# clock " + base::printable(clock) + ", the daemon's file:\n" + file.get<std::string>();
    }
    return text.empty() ? "nothing was asked\n" : text;
}

void append_number(std::string &bytes, u_int32 number) {
    u_int8 octets[4];
    base::store_big_endian(octets, number);
    bytes.append(reinterpret_cast<const char *>(octets), sizeof octets);
}

/** The messages of the files as one bundle (docs/transport.md), behind the question. */
std::string plan_question(const agent_options &options) {
    const session session(options.session);
    std::string messages;
    u_int32 count = 0;
    for (const std::string &file : options.files) {
        input_stream input(file);
        const format from = input_format(options.from, file, input.ahead(format_lookahead));
        if (from == format::rec) {
            throw failure(exit_code::usage, file + ": a recording is no configuration; decode it first");
        }
        each_record(input, from, nullptr, session, [&](const record &each) {
            std::string bytes;
            append_bytes(each, bytes);
            append_number(messages, static_cast<u_int32>(bytes.size()));
            messages += bytes;
            ++count;
        });
    }
    constexpr u_int32 header_length = 16;
    std::string bundle("VBND\1\0\0\0", 8);
    append_number(bundle, count);
    append_number(bundle, header_length + static_cast<u_int32>(messages.size()));
    bundle += messages;
    return "plan " + std::to_string(bundle.size()) + "\n" + bundle;
}

}  // namespace

void ask_agent(const agent_options &options) {
    const std::string question = options.question == "plan" ? plan_question(options) : options.question + "\n";
    const std::string answer = ask(options.socket, question);
    std::string text = answer;
    if (options.json || options.question == "plan" || options.question == "metrics") {
        text = answer;
    } else if (options.question == "status") {
        text = text_of_status(parsed(options.socket, answer));
    } else if (options.question == "events") {
        text = text_of_events(parsed(options.socket, answer));
    } else {
        text = text_of_config(parsed(options.socket, answer));
    }
    write_output("-", text);
}

}  // namespace ptpcfg

#endif
