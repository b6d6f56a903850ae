// What a daemon says of a configuration, heard before the one that runs is stopped.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "agent/daemon.h"
#include "agent/supervise/child_process.h"

namespace ptp_agent {

/** A process of its own for a moment, killed when the object ends. A file that was refused stays, to be looked at. */
class ConfigurationTrial {
  public:
    /**
     * Told once, from the event loop: the daemon's words when it refused the file, empty when it came to the trial's last
     * line. Empty, too, when it did not end in time or ended well: then only the start will tell.
     */
    using Ended = std::function<void(const std::string &refusal)>;

    /** @param path  of the file, which has been written. Throws std::system_error when there is no process to be had. */
    ConfigurationTrial(EventLoop &loop, const std::vector<std::string> &command, std::string path, Trial trial,
                       std::uint64_t timeout_ms, Ended ended);
    ~ConfigurationTrial();
    ConfigurationTrial(const ConfigurationTrial &) = delete;
    ConfigurationTrial &operator=(const ConfigurationTrial &) = delete;

  private:
    std::string refusal(const ChildEnd &end) const;
    void kill_late();

    std::string path_;
    Trial trial_;
    Timer too_late_;
    bool is_late_ = false, is_refused_ = false;
    std::unique_ptr<ChildProcess> child_;
};

}  // namespace ptp_agent
