// What changed, told to one client as server-sent events.
#pragma once

#include <chrono>

#include "clock_table.h"
#include "http_message.h"

namespace ptp_fleet {

class change_feed : public event_feed {
  public:
    /** @param since  the number of the last change that the client knows */
    change_feed(const services &from, const clock_table &table, std::uint64_t since);

    std::string next() override;

  private:
    using time_point = std::chrono::steady_clock::time_point;

    services from_;
    const clock_table &table_;
    std::uint64_t since_;
    std::uint64_t alarms_since_;
    time_point spoke_;
    bool is_first_ = true;
};

}  // namespace ptp_fleet
