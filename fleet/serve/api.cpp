// Routes, and what everybody may read.
#include "api.h"

#include <algorithm>

#include "arguments.h"
#include "base/clocks.h"
#include "change_feed.h"
#include "documents.h"
#include "problem.h"
#include "prometheus.h"
#include "recent_past.h"
#include "rows.h"

namespace ptp_fleet {
namespace {

constexpr std::string_view prefix = "/api/v1/";
constexpr std::uint64_t ns_in_ms = 1'000'000;
constexpr std::uint64_t quiet_ns = 60'000'000'000;  // a fleet that says nothing for so long is not well

std::uint64_t now() { return base::clock_ns(CLOCK_REALTIME); }

std::vector<std::string_view> split(std::string_view path) {
    std::vector<std::string_view> parts;
    for (std::size_t end = 0; end != std::string_view::npos; path.remove_prefix(std::min(end + 1, path.size()))) {
        end = path.find('/');
        parts.push_back(path.substr(0, end));
    }
    return parts;
}

bool matches(std::string_view pattern, const std::vector<std::string_view> &parts) {
    const std::vector<std::string_view> wanted = split(pattern);
    return wanted.size() == parts.size() &&
           std::equal(wanted.begin(), wanted.end(), parts.begin(), [](std::string_view want, std::string_view part) {
               return want == "*" ? !part.empty() : want == part;
           });
}

http_response json_response(const json &document, unsigned status = 200) {
    http_response response = text_response(status, to_text(document) + "\n", "application/json");
    response.header.emplace_back("Cache-Control", "no-store");
    return response;
}

http_response rows_response(std::string text) {
    http_response response = text_response(200, std::move(text), "application/json");
    response.header.emplace_back("Cache-Control", "no-store");
    return response;
}

http_response not_this_method(std::string allowed) {
    http_response response = problem(405, "This takes " + allowed + " alone.");
    response.header.emplace_back("Allow", std::move(allowed));
    return response;
}

clock_name name_in(const std::vector<std::string_view> &parts) {
    return {std::string(parts[1]), std::string(parts[2])};
}

http_response no_such_clock(const clock_name &name) {
    return problem(404, "No clock " + to_text(name) + " has said anything.");
}

}  // namespace

api::api(const services &from, const clock_table &table, operators &who, const page_files &page)
    : from_(from), table_(table), who_(who), page_(page) {}

const std::vector<api::route> &api::routes() {
    static const std::vector<route> all{
        {"GET", "overview", &api::overview, false},
        {"GET", "clocks", &api::clocks, false},
        {"GET", "clocks/*/*", &api::clock, false},
        {"GET", "clocks/*/*/events", &api::events, false},
        {"GET", "clocks/*/*/series", &api::series, false},
        {"GET", "clocks/*/*/difference", &api::difference, false},
        {"GET", "tree", &api::tree, false},
        {"GET", "alarms", &api::alarms, false},
        {"POST", "alarms/*/acknowledge", &api::acknowledge, true},
        {"POST", "alarms/*/silence", &api::silence, true},
        {"GET", "commands", &api::commands, false},
        {"GET", "elements/*/commands", &api::commands, false},
        {"POST", "elements/*/commands", &api::send_command, true},
        {"GET", "session", &api::session, false},
        {"GET", "stream", &api::stream, false},
    };
    return all;
}

http_response api::answer(const http_request &request) {
    const std::string_view path = request.path;
    if (path.substr(0, prefix.size()) == prefix) {
        return answer_api(request, path.substr(prefix.size()));
    }
    if (request.method != "GET" && request.method != "HEAD") {
        return not_this_method("GET");
    }
    if (path == "/metrics") {
        return text_response(200, metrics_text(from_, table_, now()), "text/plain; version=0.0.4; charset=utf-8");
    }
    if (path == "/healthz") {
        return health();
    }
    return page_.answer(request);
}

http_response api::answer_api(const http_request &request, std::string_view path) {
    call of{request, split(path), {}};
    const std::string_view method = request.method == "HEAD" ? "GET" : std::string_view(request.method);
    std::string allowed;
    for (const route &one : routes()) {
        if (!matches(one.path, of.parts)) {
            continue;
        }
        if (one.method == method) {
            return enter(one, of);
        }
        allowed += (allowed.empty() ? "" : ", ") + std::string(one.method);
    }
    return allowed.empty() ? problem(404, "There is no " + request.path + "; /openapi.yaml says what there is.")
                           : not_this_method(allowed);
}

http_response api::enter(const route &by, call &of) {
    if (by.acts) {
        if (!who_.may_anybody_act()) {
            return problem(403, "This server only shows; start it with --tokens FILE to have it take commands.");
        }
        const std::optional<std::string> name = who_.name_of(of.request.authorization);
        if (!name) {
            http_response refusal =
                problem(401, "Give a token that this server knows, as Authorization: Bearer TOKEN.");
            refusal.header.emplace_back("WWW-Authenticate", "Bearer");
            return refusal;
        }
        of.who = *name;
    }
    try {
        return (this->*by.handle)(of);
    } catch (const bad_request &error) {
        return problem(400, error.what());
    }
}

http_response api::overview(const call &) { return json_response(overview_json(from_, table_, now())); }

http_response api::clocks(const call &of) {
    const std::optional<std::uint64_t> since = number_in_query(of.request, "since");
    const auto names = of.request.query.find("columns");
    std::string unknown;
    const std::optional<column_list> columns =
        names == of.request.query.end() ? all_columns() : read_columns(names->second, unknown);
    if (!columns) {
        return problem(400, "columns: there is no column '" + unknown + "', or it stands there again");
    }
    return rows_response(rows_text(table_, since, *columns, now()));
}

http_response api::clock(const call &of) {
    const clock_name name = name_in(of.parts);
    const std::optional<json> found = clock_json(from_, table_, name, now());
    return found ? json_response(*found) : no_such_clock(name);
}

http_response api::events(const call &of) {
    const clock_name name = name_in(of.parts);
    const std::uint64_t before =
        number_in_query(of.request, "before", {0, 9'000'000'000'000}).value_or(9'000'000'000'000);
    const std::uint64_t limit = number_in_query(of.request, "limit", {1, 1000}).value_or(100);
    if (!from_.state.summary(name)) {
        return no_such_clock(name);
    }
    return json_response({{"changes", changes_json(changes_before(from_, name, before * ns_in_ms, limit))}});
}

http_response api::series(const call &of) {
    const clock_name name = name_in(of.parts);
    const std::uint64_t begin = required_number(of.request, "from");
    const std::uint64_t end = required_number(of.request, "to");
    const std::uint64_t points = number_in_query(of.request, "points", {2, 4000}).value_or(600);
    if (begin >= end) {
        throw bad_request("from is not before to");
    }
    if (!from_.state.summary(name)) {
        return no_such_clock(name);
    }
    return json_response(series_json(from_.past.series(name, begin * ns_in_ms, end * ns_in_ms, points), begin, end));
}

http_response api::difference(const call &of) {
    const clock_name name = name_in(of.parts);
    const std::uint64_t begin = required_number(of.request, "from");
    const std::uint64_t end = required_number(of.request, "to");
    if (!from_.state.summary(name)) {
        return no_such_clock(name);
    }
    return json_response({{"from", begin},
                          {"to", end},
                          {"fields", difference_json(records_at(from_, name, begin * ns_in_ms),
                                                     records_at(from_, name, end * ns_in_ms))}});
}

http_response api::tree(const call &) { return json_response(tree_json(from_, table_, now())); }

http_response api::alarms(const call &of) {
    const std::uint64_t ended = number_in_query(of.request, "ended", {0, 1000}).value_or(0);
    return json_response(alarms_json(from_, table_, ended));
}

http_response api::commands(const call &of) {
    const std::uint64_t limit = number_in_query(of.request, "limit", {1, 1000}).value_or(100);
    const bool is_one = of.parts.size() > 1;
    json list = json::array();
    for (const command_entry &one : from_.commands.entries(is_one ? 10000 : limit)) {
        if ((!is_one || one.element == of.parts[1]) && list.size() < limit) {
            list.push_back(command_json(one));
        }
    }
    return json_response({{"version", is_one ? json(from_.commands.version(std::string(of.parts[1]))) : json()},
                          {"commands", std::move(list)}});
}

http_response api::session(const call &of) {
    const std::optional<std::string> name = who_.name_of(of.request.authorization);
    return json_response({{"takes_commands", who_.may_anybody_act()}, {"operator", name ? json(*name) : json()}});
}

http_response api::stream(const call &of) {
    std::optional<std::uint64_t> since = number_in_query(of.request, "since");
    if (!of.request.last_event_id.empty()) {
        since = read_number(of.request.last_event_id);
        if (!since) {
            throw bad_request("Last-Event-ID: give a change number");
        }
    }
    http_response response;
    response.content_type = "text/event-stream";
    response.header.emplace_back("Cache-Control", "no-store");
    response.feed = std::make_unique<change_feed>(from_, table_, since.value_or(table_.change()));
    return response;
}

http_response api::health() const {
    const std::uint64_t time = now();
    const std::uint64_t heard = last_heard(table_);
    json reasons = json::array();
    if (heard == 0) {
        reasons.push_back("No element has said anything yet.");
    } else if (heard + quiet_ns < time) {
        reasons.push_back("No element has said anything for a minute.");
    }
    try {
        from_.past.totals();
    } catch (const std::exception &error) {
        reasons.push_back(std::string("The store cannot be read: ") + error.what());
    }
    const bool is_healthy = reasons.empty();
    return json_response({{"healthy", is_healthy},
                          {"reasons", std::move(reasons)},
                          {"heard", heard == 0 ? json() : json(heard / ns_in_ms)}},
                         is_healthy ? 200 : 503);
}

}  // namespace ptp_fleet
