// What those with a token may do.
#include "api.h"
#include "arguments.h"
#include "base/clocks.h"
#include "documents.h"
#include "problem.h"

namespace ptp_fleet {
namespace {

constexpr std::uint64_t ns_in_minute = 60'000'000'000;

http_response json_response(const json &document, unsigned status = 200) {
    return text_response(status, to_text(document) + "\n", "application/json");
}

std::uint64_t alarm_number(std::string_view part) {
    const std::optional<std::uint64_t> id = read_number(part);
    if (!id) {
        throw bad_request("'" + std::string(part) + "' is no number of an alarm");
    }
    return *id;
}

}  // namespace

http_response api::alarm_now(std::uint64_t id) const {
    const std::optional<alarm> found = from_.alarms.find(id);
    return found ? json_response(alarm_json(*found)) : problem(404, "There is no alarm " + std::to_string(id) + ".");
}

http_response api::acknowledge(const call &of) {
    const std::uint64_t id = alarm_number(of.parts[1]);
    const json body = body_object(of.request, {"comment"});
    const std::string comment = text_in_body(body, "comment", 400);
    if (!from_.alarms.acknowledge(id, of.who, comment, base::clock_ns(CLOCK_REALTIME))) {
        return problem(404, "There is no alarm " + std::to_string(id) + " that is not over.");
    }
    return alarm_now(id);
}

http_response api::silence(const call &of) {
    const std::uint64_t id = alarm_number(of.parts[1]);
    const json body = body_object(of.request, {"minutes"});
    const std::uint64_t minutes = number_in_body(body, "minutes", {0, 43200});
    const std::uint64_t now = base::clock_ns(CLOCK_REALTIME);
    if (!from_.alarms.silence(id, of.who, minutes == 0 ? 0 : now + minutes * ns_in_minute)) {
        return problem(404, "There is no alarm " + std::to_string(id) + " that is not over.");
    }
    return alarm_now(id);
}

http_response api::send_command(const call &of) {
    const json body = body_object(of.request, {"command", "version"});
    const auto command = body.find("command");
    if (command == body.end() || !command->is_object() || command->size() != 1) {
        throw bad_request("'command' wants one message: {\"NAME\": {...}}");
    }
    const command_entry done =
        from_.commands.send({std::string(of.parts[1]), to_text(*command), of.who, number_in_body(body, "version")});
    switch (done.fate) {
        case command_fate::conflict:
            return problem(409, done.reason);
        case command_fate::refused:
            return problem(400, done.reason);
        default:
            return json_response(command_json(done), 202);
    }
}

}  // namespace ptp_fleet
