// What clients give in paths, queries and bodies, checked.
#pragma once

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "http_message.h"

namespace ptp_fleet {

/** What a client did wrong, for people. */
class bad_request : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct number_range {
    std::uint64_t least = 0;
    std::uint64_t most = std::numeric_limits<std::int64_t>::max();
};

/** Nothing where it is no number within the range. */
std::optional<std::uint64_t> read_number(std::string_view text, number_range within = {});

/** These throw bad_request. */
std::optional<std::uint64_t> number_in_query(const http_request &request, const std::string &name,
                                             number_range within = {});
std::uint64_t required_number(const http_request &request, const std::string &name);

/** The body as an object with no members but those; an empty body is an empty object. */
nlohmann::json body_object(const http_request &request, std::initializer_list<std::string_view> members);
std::uint64_t number_in_body(const nlohmann::json &body, const char *name, number_range within = {});
std::string text_in_body(const nlohmann::json &body, const char *name, std::size_t most);

}  // namespace ptp_fleet
