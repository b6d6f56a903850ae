// The files of the page, and the description of the API.
#pragma once

#include <map>
#include <string>

#include "http_message.h"

namespace ptp_fleet {

/** Files are read once: what is not there at the start is not served, whatever a path says. */
class page_files {
  public:
    /** @param folder  with index.html; empty: no page. Throws std::runtime_error where there is none in it. */
    explicit page_files(const std::string &folder);

    http_response answer(const http_request &request) const;

  private:
    struct file {
        std::shared_ptr<const std::string> plain, compressed;
        std::string type, tag;
    };

    void add(const std::string &path, std::string text, std::string type);

    std::map<std::string, file> files_;
};

}  // namespace ptp_fleet
