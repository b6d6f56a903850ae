// The files to be written: collected first, so that an error leaves nothing behind.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace codegen {

class output_set {
  public:
    /** `path` is relative to the output directory. */
    void add(const std::string &path, std::string content);
    /** Says that a directory holds nothing but outputs: files that are none are removed when they are written. */
    void own(const std::string &directory);
    void list(std::ostream &stream) const;
    /** Writes what differs from what is there, so that file times only change with contents. */
    void write(const std::filesystem::path &directory) const;

  private:
    void remove_others(const std::filesystem::path &directory) const;

    std::map<std::string, std::string> files_;
    std::vector<std::string> owned_;
};

}  // namespace codegen
