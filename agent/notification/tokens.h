// Bearer tokens from a file, compared so that time tells nothing about them.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ptp_agent::notification {

/**
 * One token a line; empty lines and those that begin with # count for nothing. The file is read again when it was
 * replaced or changed, so that tokens can be exchanged while the agent runs; while it cannot be read, no token is good.
 */
class Tokens {
  public:
    /** @param path  empty: every request is good. Throws std::runtime_error where the file gives no token. */
    explicit Tokens(std::string path);

    /** @param authorization  the header's value, `Bearer TOKEN` */
    bool admit(std::string_view authorization);

  private:
    void read_again_if_changed();

    std::string path_;
    std::vector<std::string> tokens_;
    std::optional<struct stat> seen_;
};

}  // namespace ptp_agent::notification
