// Keeps the intent in a file, so that it survives the agent and the machine.
//
// The file is a header and a bundle of the messages that make the intent. It is replaced by a new one under the same name,
// which is whole before it has that name; the one before is kept beside it as FILE.previous.
#pragma once

#include <string>

#include "agent/intent/intent.h"

namespace ptp_agent {

/** What was found at start. */
struct LoadedIntent {
    enum class Kind : std::uint8_t {
        Loaded,     ///< or there was none yet: the intent is then empty
        Recovered,  ///< the file was damaged; this is the one before it. The damaged one is kept as FILE.damaged
        Failed      ///< nothing was touched; `note` says what to do
    };
    Kind kind = Kind::Loaded;
    Intent intent;
    std::string note;  ///< for people; empty where there is nothing to say
};

class IntentStore {
  public:
    /**
     * @param path       of the file; its folder must exist and be writable
     * @param boot_file  whose content is another after each start of the machine
     */
    explicit IntentStore(std::string path, std::string boot_file = "/proc/sys/kernel/random/boot_id")
        : path_(std::move(path)), boot_file_(std::move(boot_file)) {}

    /**
     * Reads the file. States that a restart of the machine makes stale (what a time source reported of itself) are left
     * out when the machine was started since the file was written.
     */
    LoadedIntent load(const SharedHandle &handle, IntentLimits limits = {});

    /**
     * Writes the intent and returns when it is on the disk. On failure the file is the former one.
     * @return empty, or what failed, for people
     */
    std::string save(const Intent &intent);

    /** How often an intent was saved under this name; 0 before the first. */
    std::uint64_t generation() const { return generation_; }
    const std::string &path() const { return path_; }

  private:
    std::string path_;
    std::string boot_file_;
    std::uint64_t generation_ = 0;
};

}  // namespace ptp_agent
