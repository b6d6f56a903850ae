// Typed access to the keys of a TOML table, with an error for each that is missing, of another type or unknown.
#pragma once

#include <toml++/toml.h>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "diagnostics.h"

namespace codegen {

/** Parses a file; a file that cannot be read or parsed is reported. */
std::optional<toml::table> parse_toml(const std::filesystem::path &file, diagnostics &errors);

class table_reader {
  public:
    /** `subject` names the table in errors ("structure ptp_clock"); `table` and `errors` outlive the reader. */
    table_reader(const toml::table &table, std::string file, std::string subject, diagnostics &errors);

    void rename(std::string subject) { subject_ = std::move(subject); }
    const std::string &subject() const { return subject_; }

    location where() const { return at(table_); }
    location at(const toml::node &node) const;
    bool has(std::string_view key) const { return table_.contains(key); }

    std::string text(std::string_view key);           // required, not empty
    std::string optional_text(std::string_view key);  // empty when absent
    std::uint32_t number(std::string_view key);       // required
    std::optional<std::uint32_t> optional_number(std::string_view key);
    std::vector<std::string> texts(std::string_view key);  // required
    std::optional<std::vector<std::uint32_t>> optional_numbers(std::string_view key);
    /** A table of texts; empty when absent. */
    std::vector<std::pair<std::string, std::string>> optional_text_table(std::string_view key);
    /** An array of tables, given inline or as [[key]]; reported when absent and required. */
    std::vector<const toml::table *> tables(std::string_view key, bool required);

    /** Reports every key that was not asked for. Call it last. */
    void finish();

  private:
    const toml::node *find(std::string_view key, bool required);
    template <class Take>
    bool for_each(std::string_view key, bool required, std::string_view expected, Take &&take);
    void wrong_type(const toml::node &node, std::string_view key, std::string_view expected);
    std::optional<std::uint32_t> as_number(const toml::node &node, std::string_view key);

    const toml::table &table_;
    std::string file_;
    std::string subject_;
    diagnostics &errors_;
    std::set<std::string, std::less<>> asked_;
};

}  // namespace codegen
