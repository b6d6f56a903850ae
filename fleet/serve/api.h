// Answers requests: the API of openapi.yaml, metrics, health, and the files of the page.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "clock_table.h"
#include "http_message.h"
#include "operators.h"
#include "page_files.h"

namespace ptp_fleet {

/** Any thread may call. */
class api {
  public:
    /** What it is given lives longer than it does. */
    api(const services &from, const clock_table &table, operators &who, const page_files &page);

    http_response answer(const http_request &request);

  private:
    struct call {
        const http_request &request;
        std::vector<std::string_view> parts;  // of the path behind /api/v1/
        std::string who;                      // of a call that acts
    };
    struct route {
        std::string_view method, path;  // `*` stands for any one part
        http_response (api::*handle)(const call &);
        bool acts;
    };
    static const std::vector<route> &routes();

    http_response answer_api(const http_request &request, std::string_view path);
    http_response enter(const route &by, call &of);

    http_response overview(const call &of);
    http_response clocks(const call &of);
    http_response clock(const call &of);
    http_response events(const call &of);
    http_response series(const call &of);
    http_response difference(const call &of);
    http_response tree(const call &of);
    http_response alarms(const call &of);
    http_response commands(const call &of);
    http_response stream(const call &of);
    http_response session(const call &of);
    http_response acknowledge(const call &of);
    http_response silence(const call &of);
    http_response send_command(const call &of);
    http_response health() const;
    http_response alarm_now(std::uint64_t id) const;

    services from_;
    const clock_table &table_;
    operators &who_;
    const page_files &page_;
};

}  // namespace ptp_fleet
