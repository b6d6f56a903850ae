// What people did, kept at once: alarms with what was said to them, and commands.
#pragma once

#include <mutex>

#include "alarm_book.h"
#include "command_desk.h"
#include "database.h"

namespace ptp_fleet {

/** Any thread may call. All throw database_error. */
class notes {
  public:
    /** @param file  of the keeper, which has made its tables */
    explicit notes(const std::string &file);

    void put(const std::vector<alarm> &all);
    /** All that are still, and the newest of those that ended, the oldest first. */
    std::vector<alarm> alarms();

    void put(const command_entry &of);
    /** The newest first. */
    std::vector<command_entry> commands(std::size_t limit);
    std::optional<command_entry> command(std::uint64_t id);
    std::uint64_t last_command();

  private:
    std::mutex mutex_;
    database database_;
};

}  // namespace ptp_fleet
