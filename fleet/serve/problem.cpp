// Refusals as JSON.
#include "problem.h"

#include <nlohmann/json.hpp>

namespace ptp_fleet {
namespace {

const char *title_of(unsigned status) {
    switch (status) {
        case 400:
            return "Bad request";
        case 401:
            return "No valid token";
        case 403:
            return "Read only";
        case 404:
            return "Not found";
        case 405:
            return "Not this method";
        case 409:
            return "Somebody was faster";
        case 413:
            return "Too long";
        case 503:
            return "Busy";
        default:
            return "Error";
    }
}

}  // namespace

http_response problem(unsigned status, const std::string &detail) {
    const nlohmann::json body = {{"status", status}, {"title", title_of(status)}, {"detail", detail}};
    return text_response(status, body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n",
                         "application/problem+json");
}

}  // namespace ptp_fleet
