// Who may act: names and their tokens, from a file.
#pragma once

#include <sys/stat.h>

#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ptp_fleet {

/**
 * A line is a name, a blank and a token of at least 16 characters; empty lines and those that begin with # count for
 * nothing. The file is read again when it was changed; while it cannot be read, no token is good. Any thread may call.
 */
class operators {
  public:
    /** @param path  empty: nobody may act. Throws std::runtime_error where the file gives nobody or others may read it. */
    explicit operators(std::string path);

    bool may_anybody_act() const { return !path_.empty(); }
    /** The name of who has that token. @param authorization  the header's value, `Bearer TOKEN` */
    std::optional<std::string> name_of(std::string_view authorization);

  private:
    struct entry {
        std::string name, token;
    };

    static std::vector<entry> read(const std::string &path);
    void read_again_if_changed();

    std::string path_;
    std::mutex mutex_;
    std::vector<entry> entries_;
    std::optional<struct stat> seen_;
};

}  // namespace ptp_fleet
