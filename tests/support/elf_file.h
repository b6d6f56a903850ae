// What the tests ask of a shared library's file: its sections, its exported names and the libraries that it needs.
#pragma once

#include <set>
#include <string>
#include <vector>

namespace ptp_cfg_test {

class elf_file {
  public:
    explicit elf_file(const std::string &path);

    struct section {
        bool found = false;
        bool loaded = false;
        std::string content;
    };
    section find(const std::string &name) const;
    /** Names of the functions and objects that others can link with. */
    std::set<std::string> exported() const;
    std::vector<std::string> needed() const;

  private:
    template <class Entry>
    std::vector<Entry> entries(const std::string &section_name) const;

    std::string bytes_;
};

}  // namespace ptp_cfg_test
