// The past out of the file that a keeper writes, and out of what it has not written yet.
#pragma once

#include <functional>
#include <mutex>

#include "database.h"
#include "samples.h"

namespace ptp_fleet {

class sqlite_history : public history {
  public:
    /** @param totals  of the keeper's, which may be of another moment */
    sqlite_history(const std::string &file, const open_samples &samples, std::function<store_totals()> totals);

    std::vector<series_point> series(const clock_name &name, std::uint64_t from_ns, std::uint64_t to_ns,
                                     std::size_t most_points) override;
    std::vector<change_entry> changes(const clock_name &name, std::uint64_t from_ns, std::uint64_t to_ns,
                                      std::size_t limit) override;
    std::vector<change_entry> changes(std::uint64_t from_ns, std::uint64_t to_ns, std::size_t limit) override;
    std::vector<clock_record> records_at(const clock_name &name, std::uint64_t time_ns) override;
    store_totals totals() override;

  private:
    std::uint64_t id_of(const clock_name &name);

    std::mutex mutex_;
    database database_;
    const open_samples &samples_;
    std::function<store_totals()> totals_;
};

}  // namespace ptp_fleet
