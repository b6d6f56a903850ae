// Rows of JSON by their number.
#include "notes.h"

#include <nlohmann/json.hpp>

#include "alarm_json.h"

namespace ptp_fleet {
namespace {

using json = nlohmann::ordered_json;

constexpr command_fate fates[] = {command_fate::sent, command_fate::answered, command_fate::silent,
                                  command_fate::conflict, command_fate::refused};

std::string dumped(const json &of) { return of.dump(-1, ' ', false, json::error_handler_t::replace); }

json to_json(const command_entry &of) {
    json answer = json::array();
    for (const change_entry &each : of.answer) {
        answer.push_back(ptp_fleet::to_json(each));
    }
    return {{"id", of.id},         {"element", of.element},      {"message", of.message}, {"json", of.json},
            {"who", of.who},       {"time_ns", of.time_ns},      {"version", of.version}, {"fate", to_text(of.fate)},
            {"reason", of.reason}, {"answer", std::move(answer)}};
}

command_entry read_command(const std::string &text) {
    const json from = json::parse(text);
    command_entry result;
    result.id = from.at("id");
    result.element = from.at("element");
    result.message = from.at("message");
    result.json = from.at("json");
    result.who = from.at("who");
    result.time_ns = from.at("time_ns");
    result.version = from.at("version");
    result.reason = from.at("reason");
    for (const command_fate each : fates) {
        result.fate = from.at("fate") == to_text(each) ? each : result.fate;
    }
    for (const json &each : from.at("answer")) {
        result.answer.push_back(read_change(each));
    }
    return result;
}

}  // namespace

notes::notes(const std::string &file) : database_(file, access::write) { database_.run("PRAGMA synchronous = FULL"); }

void notes::put(const std::vector<alarm> &all) {
    const std::lock_guard lock(mutex_);
    transaction together(database_);
    statement put_one(database_, "INSERT OR REPLACE INTO alarm VALUES (?1, ?2, ?3)");
    for (const alarm &each : all) {
        put_one.bind(each.id, each.until_ns, dumped(ptp_fleet::to_json(each))).run();
    }
    statement(database_, "DELETE FROM alarm WHERE until_ns != 0 AND id < (SELECT max(id) FROM alarm) - 100000").run();
    together.commit();
}

std::vector<alarm> notes::alarms() {
    const std::lock_guard lock(mutex_);
    std::vector<alarm> result;
    statement rows(database_,
                   "SELECT json FROM alarm WHERE until_ns = 0 OR id IN (SELECT id FROM alarm WHERE until_ns != 0 "
                   "ORDER BY id DESC LIMIT 10000) ORDER BY id");
    while (rows.step()) {
        result.push_back(read_alarm(json::parse(rows.text(0))));
    }
    return result;
}

void notes::put(const command_entry &of) {
    const std::lock_guard lock(mutex_);
    statement(database_, "INSERT OR REPLACE INTO command VALUES (?1, ?2, ?3)")
        .bind(of.id, of.time_ns, dumped(to_json(of)))
        .run();
}

std::vector<command_entry> notes::commands(std::size_t limit) {
    const std::lock_guard lock(mutex_);
    std::vector<command_entry> result;
    statement rows(database_, "SELECT json FROM command ORDER BY id DESC LIMIT ?1");
    rows.bind(static_cast<std::uint64_t>(limit));
    while (rows.step()) {
        result.push_back(read_command(rows.text(0)));
    }
    return result;
}

std::optional<command_entry> notes::command(std::uint64_t id) {
    const std::lock_guard lock(mutex_);
    statement row(database_, "SELECT json FROM command WHERE id = ?1");
    return row.bind(id).step() ? std::optional(read_command(row.text(0))) : std::nullopt;
}

std::uint64_t notes::last_command() {
    const std::lock_guard lock(mutex_);
    return database_.number("SELECT max(id) FROM command");
}

}  // namespace ptp_fleet
