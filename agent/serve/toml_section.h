// A table of a TOML file whose every key must be known.
#pragma once

#include <toml++/toml.h>

#include <chrono>
#include <concepts>
#include <limits>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace ptp_agent {

class TomlSection {
  public:
    /** @param table  null: the file does not have it, and every value stays as it is */
    TomlSection(const toml::table *table, std::string name, const std::string &path)
        : table_(table), name_(std::move(name)), path_(path) {}

    explicit operator bool() const { return table_ != nullptr; }

    void read(std::string_view key, std::string &value) { read_as(key, value, "a text"); }
    void read(std::string_view key, bool &value) { read_as(key, value, "true or false"); }
    void read(std::string_view key, double &value) { read_as(key, value, "a number"); }
    void read(std::string_view key, std::vector<std::string> &value);
    void read(std::string_view key, std::chrono::milliseconds &value);

    template <std::integral Number>
    requires(!std::same_as<Number, bool>) void read(std::string_view key, Number &value,
                                                    Number least = std::numeric_limits<Number>::min(),
                                                    Number most = std::numeric_limits<Number>::max()) {
        value = static_cast<Number>(read_number(key, static_cast<std::int64_t>(value), clamped(least), clamped(most)));
    }

    /** One of several words, as its place among them. */
    std::size_t read_choice(std::string_view key, const std::vector<std::string_view> &words, std::size_t otherwise);
    /** Permission bits as they are written: "0660". */
    void read_mode(std::string_view key, std::uint32_t &value);
    /** Every row of a table as text, whatever its keys. */
    std::vector<std::pair<std::string, std::string>> read_rows(std::string_view key);
    /** The names of all that is in it. */
    std::vector<std::string> keys() const;
    /** A table inside. */
    TomlSection section(std::string_view key);
    /** An array of tables inside. */
    std::vector<TomlSection> sections(std::string_view key);

    /** Throws when the table has a key that was not read. */
    void finish() const;
    /** Throws ConfigurationError for a value. */
    [[noreturn]] void refuse(std::string_view key, const std::string &why) const;

  private:
    const toml::node *find(std::string_view key);
    std::int64_t read_number(std::string_view key, std::int64_t otherwise, std::int64_t least, std::int64_t most);
    std::string full_name(std::string_view key) const;

    template <typename Number>
    static std::int64_t clamped(Number number) {
        return std::cmp_greater(number, std::numeric_limits<std::int64_t>::max())
                   ? std::numeric_limits<std::int64_t>::max()
                   : static_cast<std::int64_t>(number);
    }

    template <typename Value>
    void read_as(std::string_view key, Value &value, const char *what) {
        if (const toml::node *node = find(key)) {
            const auto found = node->value<Value>();
            if (!found) {
                refuse(key, std::string("give ") + what);
            }
            value = *found;
        }
    }

    const toml::table *table_;
    std::string name_;
    std::string path_;
    std::set<std::string, std::less<>> known_;
};

}  // namespace ptp_agent
