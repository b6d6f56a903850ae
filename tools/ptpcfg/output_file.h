// A file that takes its name when it is whole.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "base/file_descriptor.h"
#include "files.h"

namespace ptpcfg {

/**
 * Written without a name (O_TMPFILE), so that nothing is left behind however the process ends; where the file system
 * cannot do that, under a hidden name beside the target, which goes at all ends but SIGKILL and a crash. What is no
 * regular file, a pipe or a device, is written to as it is.
 */
class output_file {
  public:
    /** @param path  of the file; a link is followed, and stays */
    explicit output_file(const std::string &path);
    /** Without finish() the file is gone. */
    ~output_file();
    output_file(const output_file &) = delete;
    output_file &operator=(const output_file &) = delete;

    void write(std::string_view content);
    /** Gives the file its name. One that was there is replaced in one step and lends its permissions. */
    void finish();

  private:
    void open_named();
    bool link_to(const std::string &name) const;
    void replace_target();
    void close();

    std::string name_;    // for messages
    std::string target_;  // where it finally is
    std::string folder_;  // of the target, with its slash
    std::string hidden_;  // its name until then, if it has one
    bool is_regular_ = true;
    bool exists_ = false;
    mode_t mode_ = 0;  // of the one that was there
    base::file_descriptor file_;
};

}  // namespace ptpcfg
