// Which numbers of each source were taken: what makes a message that comes again, in whatever order, one.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace ptp_fleet {

/** Numbers of a source from 1 to the last, but for those that are missing. */
struct source_ledger {
    std::uint64_t last = 0;
    std::uint64_t heard_ns = 0;
    std::map<std::uint64_t, std::uint64_t> missing;  // first and last of each range

    std::uint64_t missing_count() const;
};

enum class verdict : std::uint8_t {
    next,     // the newest of its source
    late,     // was missing
    repeated  // was taken, or given up as missing long ago
};

class ledger {
  public:
    verdict take(std::string_view source, std::uint64_t sequence, std::uint64_t heard_ns);

    std::uint64_t missing() const { return missing_; }
    std::size_t size() const { return sources_.size(); }

    /** Those that were taken from since forget_changed(). */
    std::vector<const std::pair<const std::string, source_ledger> *> changed() const;
    void forget_changed() { changed_.clear(); }
    void restore(const std::string &source, source_ledger of);
    /** Sources that said nothing since: an element numbers anew when it is started. Returns their names. */
    std::vector<std::string> forget(std::uint64_t heard_before_ns);

  private:
    struct hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };
    using sources = std::unordered_map<std::string, source_ledger, hash, std::equal_to<>>;

    sources sources_;
    std::unordered_set<std::string_view> changed_;
    std::uint64_t missing_ = 0;
};

/** "5-9 12-12", and back; what is no such text is no range. */
std::string to_text(const std::map<std::uint64_t, std::uint64_t> &ranges);
std::map<std::uint64_t, std::uint64_t> read_ranges(std::string_view text);

}  // namespace ptp_fleet
