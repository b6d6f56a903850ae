// A file that says who is at work, so that a second one is refused.
#pragma once

#include <string>

#include "base/file_descriptor.h"

namespace ptp_agent {

/** Held until the object or the process ends, however that ends. */
class LockFile {
  public:
    /** Throws std::runtime_error, which names the process that holds it. */
    explicit LockFile(const std::string &path);

  private:
    base::file_descriptor file_;
};

}  // namespace ptp_agent
