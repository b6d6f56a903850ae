// The commands of a shell.
#include "conversation.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <sstream>
#include <utility>

#include "commands.h"
#include "failure.h"
#include "fields.h"
#include "no_such.h"
#include "record_writer.h"
#include "records.h"
#include "signals.h"
#include "table.h"

namespace ptpcfg {
namespace {

/** What completes the arguments of a command. */
enum class arguments { none, messages, files, fields, formats, names };

struct command {
    const char *name;
    const char *form;
    const char *meaning;
    arguments kind;
    void (conversation::*run)(const conversation::words &);
};

constexpr command commands[] = {
    {"new", "MESSAGE", "begin a message, every field at its default", arguments::messages, &conversation::make},
    {"load", "FILE", "begin with the first message of a file", arguments::files, &conversation::load},
    {"set", "FIELD=VALUE...", "give its fields values", arguments::fields, &conversation::set},
    {"get", "FIELD", "show a field of it", arguments::fields, &conversation::get},
    {"show", "[FORMAT]", "show it: text, xml, json, yaml or hex", arguments::formats, &conversation::print},
    {"send", "[FILE...]", "send it, or the messages of files", arguments::files, &conversation::send},
    {"wait", "[SECONDS]", "wait for a message from the peer, 5 seconds if not said", arguments::none,
     &conversation::wait},
    {"describe", "NAME", "say all about a type, message, field or value", arguments::names,
     &conversation::describe_name},
    {"help", "", "this list", arguments::none, &conversation::help},
    {"quit", "", "end, when the peer has read everything", arguments::none, nullptr},
};

conversation::words split(const std::string &line) {
    std::istringstream stream(line);
    conversation::words words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

const command &command_named(const std::string &name) {
    std::vector<std::string> known;
    for (const command &each : commands) {
        if (name == each.name) {
            return each;
        }
        known.emplace_back(each.name);
    }
    throw failure(exit_code::usage, no_such("command", name, known) + " 'help' lists them");
}

const std::string &only(const conversation::words &arguments, const char *what) {
    if (arguments.size() != 1) {
        throw failure(exit_code::usage, std::string("one ") + what + " is wanted");
    }
    return arguments.front();
}

std::vector<std::string> type_names(bool only_messages) {
    std::vector<std::string> names;
    for (u_int32 index = 0; index < ptp_cfg_type_count(); ++index) {
        const ptp_cfg_type_description type = describe(ptp_cfg_type_at(index));
        if (!only_messages || type.kind == PTP_CFG_MESSAGE) {
            names.emplace_back(type.short_name);
        }
    }
    return names;
}

}  // namespace

conversation::conversation(const channel_options &options, std::function<void(const std::string &)> show)
    : options_(options),
      show_(std::move(show)),
      session_(session_options{}),
      channel_(options, 0, [this](std::string_view bytes) { take(bytes); }) {}

/** Messages of a bundle and what cannot be read are shown as they are told by the reader of bytes. */
void conversation::take(std::string_view bytes) try {
    for (const record &each : records_from_bytes("message", bytes, nullptr, session_)) {
        ++received_;
        std::string text = "< ";
        append_print(each, text);
        show_(text);
    }
} catch (const failure &error) {
    show_(std::string("< ") + error.what() + "\n");
}

const record &conversation::current() const {
    if (!record_) {
        throw failure(exit_code::usage, "there is no message yet; 'new MESSAGE' or 'load FILE' begins one");
    }
    return *record_;
}

bool conversation::run(const std::string &line) {
    words all = split(line);
    if (all.empty() || all.front().starts_with('#')) {
        return true;
    }
    const command &found = command_named(all.front());
    if (found.run == nullptr) {
        return false;
    }
    // A value may have blanks within: what follows the = of a single assignment is one.
    if (found.run == &conversation::set) {
        const size_t sign = line.find('=');
        const bool is_single = sign != std::string::npos && line.find('=', sign + 1) == std::string::npos;
        const size_t begin = line.find_first_not_of(' ', line.find("set") + 3);
        all = is_single ? words{"set", line.substr(begin, line.find_last_not_of(" \t\r") + 1 - begin)} : all;
    }
    (this->*found.run)({all.begin() + 1, all.end()});
    return true;
}

std::vector<std::string> conversation::completions(const std::string &line, size_t begin) const {
    std::vector<std::string> found;
    const words all = split(line.substr(0, begin));
    if (all.empty()) {
        for (const command &each : commands) {
            found.emplace_back(each.name);
        }
        return found;
    }
    const auto at = std::find_if(std::begin(commands), std::end(commands),
                                 [&](const command &each) { return all.front() == each.name; });
    const arguments kind = at != std::end(commands) ? at->kind : arguments::none;
    if (kind == arguments::messages || kind == arguments::names) {
        return type_names(kind == arguments::messages);
    }
    if (kind == arguments::formats) {
        return {"text", "xml", "json", "yaml", "hex"};
    }
    if (kind == arguments::fields && record_) {
        const json_value value = json_of(*record_);
        const bool is_value = begin > 0 && line[begin - 1] == '=';
        for (const field_node &node : nodes_of(record_->type(), value)) {
            const std::string name = node.path.substr(node.path.rfind('/') + 1);
            const ptp_cfg_field_description field = field_at(record_->type(), node.path);
            if (!is_value) {
                found.push_back(name);
            } else if (name + "=" == all.back() && field.kind == PTP_CFG_FIELD_ENUMERATION && field.type != nullptr) {
                for (const enumeration_literal &row : literals_of(field.type)) {
                    found.push_back(row.literal);
                }
            }
        }
    }
    return found;
}

void conversation::finish() {
    if (sent_ > 0) {
        channel_.finish();
    }
}

void conversation::help(const words &) {
    table rows;
    for (const command &each : commands) {
        rows.row({std::string(each.name) + " " + each.form, each.meaning});
    }
    show_(rows.text());
}

void conversation::make(const words &arguments) {
    record_.reset();
    record_.emplace(new_record(message_named(only(arguments, "message's name")), session_.handle(false)));
}

void conversation::load(const words &arguments) {
    bool is_first = true;
    each_record_of({only(arguments, "file"), {}, {}}, session_, [&](const record &each, std::string_view) {
        if (std::exchange(is_first, false)) {
            record copy = new_record(each.type(), session_.handle(false));
            take_values(copy, json_of(each));
            record_.reset();
            record_.emplace(std::move(copy));
        }
    });
}

void conversation::set(const words &arguments) {
    json_value value = json_of(current());
    for (const std::string &text : arguments) {
        const size_t sign = text.find('=');
        if (sign == std::string::npos) {
            throw failure(exit_code::usage, "'" + text + "': FIELD=VALUE is wanted, as in priority1=128");
        }
        const std::string field = text.substr(0, sign);
        const std::vector<field_node> nodes = nodes_of(current().type(), value);
        const std::vector<field_node> found = named_nodes(nodes, field);
        if (found.empty()) {
            throw failure(exit_code::usage, no_field_text(nodes, field));
        }
        const field_node &node = only_node(found, field);
        const_cast<json_value &>(*node.value) = value_for(current().type(), node.path, text.substr(sign + 1));
    }
    take_values(current(), value);
}

void conversation::get(const words &arguments) {
    const std::string &field = only(arguments, "field");
    const json_value value = json_of(current());
    const std::vector<field_node> nodes = nodes_of(current().type(), value);
    const std::vector<field_node> found = named_nodes(nodes, field);
    if (found.empty()) {
        throw failure(exit_code::usage, no_field_text(nodes, field));
    }
    show_(plain_text(*only_node(found, field).value) + "\n");
}

void conversation::print(const words &arguments) {
    const format form =
        arguments.empty() ? format::text : format_named(only(arguments, "format"), "show", output_formats);
    std::string output;
    record_writer writer(form == format::bin ? format::hex : form,
                         [&output](std::string_view text) { output += text; });
    writer.add(current());
    writer.finish();
    show_(output);
}

void conversation::send(const words &arguments) {
    std::vector<std::string> messages;
    for (const std::string &file : arguments) {
        each_record_of({file, {}, {}}, session_,
                       [&](const record &each, std::string_view) { append_bytes(each, messages.emplace_back()); });
    }
    if (arguments.empty()) {
        append_bytes(current(), messages.emplace_back());
    }
    channel_.wait_for_peer();
    for (const std::string &message : messages) {
        channel_.offer(message);
        ++sent_;
    }
    const auto end = outgoing::clock::now() + std::chrono::duration<double>(options_.timeout);
    while (channel_.unconfirmed() > 0 && outgoing::clock::now() < end && !stopped()) {
        channel_.work_until(outgoing::clock::now() + std::chrono::milliseconds(20));
    }
    if (channel_.unconfirmed() > 0) {
        throw failure(exit_code::peer, options_.uri + ": the peer has not read everything");
    }
    show_(counted(messages.size(), "message") + " sent\n");
}

void conversation::wait(const words &arguments) {
    double seconds = 5;
    if (!arguments.empty()) {
        const std::string &text = only(arguments, "number of seconds");
        const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), seconds);
        if (problem != std::errc() || *end != '\0' || seconds < 0 || seconds > 1e6) {
            throw failure(exit_code::usage, "'" + text + "' is no number of seconds");
        }
    }
    const u_int64 before = received_;
    const auto end = outgoing::clock::now() + std::chrono::duration<double>(seconds);
    while (received_ == before && outgoing::clock::now() < end && !stopped()) {
        wait_or_stop(channel_.fd(), 50);
        channel_.serve();
    }
    if (received_ == before) {
        throw failure(exit_code::peer, options_.uri + ": no message came");
    }
}

void conversation::describe_name(const words &arguments) {
    describe_options options;
    options.name = only(arguments, "name");
    describe(options);
}

}  // namespace ptpcfg
