// The files to be written: collected first, so that an error leaves nothing behind.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <map>
#include <string>

namespace codegen {

class output_set {
public:
    /** `path` is relative to the output directory. */
    void add(const std::string &path, std::string content);
    void list(std::ostream &stream) const;
    /** Writes what differs from what is there, so that file times only change with contents. */
    void write(const std::filesystem::path &directory) const;

private:
    std::map<std::string, std::string> files_;
};

}  // namespace codegen
