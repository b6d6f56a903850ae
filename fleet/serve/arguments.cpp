// Each refusal names the argument and what it may be.
#include "arguments.h"

#include <algorithm>
#include <charconv>

namespace ptp_fleet {
namespace {

std::string wanted(number_range within) {
    return within.most == number_range().most
               ? "a number from " + std::to_string(within.least)
               : "a number from " + std::to_string(within.least) + " to " + std::to_string(within.most);
}

}  // namespace

std::optional<std::uint64_t> read_number(std::string_view text, number_range within) {
    std::uint64_t value = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value < within.least || value > within.most) {
        return std::nullopt;
    }
    return value;
}

std::optional<std::uint64_t> number_in_query(const http_request &request, const std::string &name,
                                             number_range within) {
    const auto found = request.query.find(name);
    if (found == request.query.end()) {
        return std::nullopt;
    }
    const std::optional<std::uint64_t> value = read_number(found->second, within);
    if (!value) {
        throw bad_request(name + "=" + found->second + ": give " + wanted(within));
    }
    return value;
}

std::uint64_t required_number(const http_request &request, const std::string &name) {
    // As nanoseconds it must fit in 64 bits.
    const std::optional<std::uint64_t> value = number_in_query(request, name, {0, 9'000'000'000'000});
    if (!value) {
        throw bad_request(name + " is missing: give milliseconds since 1970");
    }
    return *value;
}

nlohmann::json body_object(const http_request &request, std::initializer_list<std::string_view> members) {
    if (request.body.empty()) {
        return nlohmann::json::object();
    }
    nlohmann::json body;
    try {
        body = nlohmann::json::parse(request.body);
    } catch (const nlohmann::json::parse_error &error) {
        throw bad_request(std::string("The body is no JSON: ") + error.what());
    }
    if (!body.is_object()) {
        throw bad_request("The body is no JSON object");
    }
    for (const auto &[name, value] : body.items()) {
        if (std::find(members.begin(), members.end(), name) == members.end()) {
            throw bad_request("'" + name + "' means nothing here");
        }
    }
    return body;
}

std::uint64_t number_in_body(const nlohmann::json &body, const char *name, number_range within) {
    const auto found = body.find(name);
    const bool fits = found != body.end() && found->is_number_unsigned() &&
                      found->get<std::uint64_t>() >= within.least && found->get<std::uint64_t>() <= within.most;
    if (!fits) {
        throw bad_request(std::string("'") + name + "' wants " + wanted(within));
    }
    return found->get<std::uint64_t>();
}

std::string text_in_body(const nlohmann::json &body, const char *name, std::size_t most) {
    const auto found = body.find(name);
    if (found == body.end()) {
        return "";
    }
    if (!found->is_string() || found->get_ref<const std::string &>().size() > most) {
        throw bad_request(std::string("'") + name + "' wants text of at most " + std::to_string(most) + " bytes");
    }
    return found->get<std::string>();
}

}  // namespace ptp_fleet
