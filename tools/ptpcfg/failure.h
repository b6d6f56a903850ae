// How ptpcfg fails: an exit code that scripts can rely on, and one sentence per fault on stderr.
#pragma once

#include <stdexcept>
#include <string>

namespace ptpcfg {

enum class exit_code {
    ok = 0,
    bad_input = 1,  // what was read is wrong
    usage = 2,      // the command line is wrong
    io = 3,         // a file, pipe or memory failed
    peer = 4,       // the other end of a channel failed
};

class failure : public std::runtime_error {
  public:
    failure(exit_code code, const std::string &reason) : std::runtime_error(reason), code_(code) {}
    exit_code code() const { return code_; }

  private:
    exit_code code_;
};

/** Thrown to end with an exit code and without a word: the output has said what there is to say. */
struct ends_silently {
    int status;
};

}  // namespace ptpcfg
