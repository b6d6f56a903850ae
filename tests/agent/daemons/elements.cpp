#include "elements.h"

namespace ptp_agent::test {

unsigned false_locks(const Element &element) {
    unsigned count = 0;
    std::string clock, port;
    const auto &reports = element.reports();
    for (auto report = reports.begin(); report != reports.end(); ++report) {
        if (report->name() == clock_report) {
            clock = report->told("clock_state").value_or(clock);
        } else if (report->name() == port_report) {
            port = report->told("port_state").value_or(port);
        }
        // What is sent together is true together.
        const bool is_last_of_bundle =
            std::next(report) == reports.end() || std::next(report)->bundle != report->bundle;
        count += is_last_of_bundle && clock == locked && port != "SLAVE" ? 1 : 0;
    }
    return count;
}

void set_identity(Record &clock, int last_octet) {
    EXPECT_TRUE(clock.set("default_data_set.clk_id.ptp_clk_id[6]", 3));
    EXPECT_TRUE(clock.set("default_data_set.clk_id.ptp_clk_id[7]", last_octet));
}

Record rates(const SharedHandle &handle, int port, int log_announce, int log_sync) {
    return message(handle, "ptp_stream_cfg",
                   {{"port_handle", port},
                    {"stream_handle", port},
                    {"log_announce_intrvl", log_announce},
                    {"log_sync_interval", log_sync},
                    {"log_min_delay_req_interval", log_sync}});
}

}  // namespace ptp_agent::test
