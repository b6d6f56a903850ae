// The words of a domain file: the part of TOML that domains need, from bytes that may be anything.
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "velalib/types.h"

namespace velalib {

struct domain_value {
    enum kind { text, integer, list, table, other };  // other: a fraction, a truth value, a date
    kind what = other;
    u_int32 line = 0;
    std::string characters;              // of a text
    int64_t number = 0;                  // of an integer
    std::vector<domain_value> elements;  // of a list: no lists
};

/** A line KEY = VALUE, or the head [KEY] of a table. */
struct domain_entry {
    std::string table;  // empty above the first table
    std::string key;
    domain_value value;
};

/**
 * Reads the whole file, or finds the first place that it does not understand. A general TOML parser is too much here:
 * those at hand end the process at some inputs, or when memory is short.
 */
class domain_syntax {
  public:
    explicit domain_syntax(std::string_view content) : rest_(content) {}

    /** False with a fault. */
    bool read();

    std::vector<domain_entry> entries;
    struct {
        u_int32 line = 0;
        std::string what;
        std::string remedy;
    } fault;

  private:
    bool check_characters();
    bool read_line();
    bool read_head();
    bool read_pair();
    bool read_key(std::string &key);
    bool read_value(domain_value &value);
    bool read_list(domain_value &value);
    bool read_scalar(domain_value &value);
    bool read_quoted(std::string &text);
    bool read_escape(std::string &text);
    bool read_bare(domain_value &value);
    bool add(domain_entry entry);

    bool fail(std::string what, std::string remedy);
    bool at(char character) const { return !rest_.empty() && rest_.front() == character; }
    bool skip(char character);
    void skip_blanks();
    void skip_comment();
    void skip_lines();
    std::string_view take_while(std::string_view characters);
    std::string next_character() const;

    std::string_view rest_;
    u_int32 line_ = 1;
    std::string table_;
    std::set<std::pair<std::string, std::string>> known_;  // table and key of each entry
};

}  // namespace velalib
