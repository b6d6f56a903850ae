// Takes numbers out of the ranges that are missing, and adds those that were skipped.
#include "ledger.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace ptp_fleet {
namespace {

constexpr std::size_t most_ranges = 256;  // of a source; beyond, the oldest is missing for good

}  // namespace

std::uint64_t source_ledger::missing_count() const {
    std::uint64_t count = 0;
    for (const auto &[first, last] : missing) {
        count += last - first + 1;
    }
    return count;
}

verdict ledger::take(std::string_view source, std::uint64_t sequence, std::uint64_t heard_ns) {
    auto found = sources_.find(source);
    if (found == sources_.end()) {
        found = sources_.emplace(source, source_ledger()).first;
    }
    source_ledger &of = found->second;
    of.heard_ns = std::max(of.heard_ns, heard_ns);
    changed_.insert(found->first);
    if (sequence > of.last) {
        if (sequence > of.last + 1) {
            of.missing.emplace(of.last + 1, sequence - 1);
            missing_ += sequence - 1 - of.last;
        }
        of.last = sequence;
        if (of.missing.size() > most_ranges) {
            of.missing.erase(of.missing.begin());
        }
        return verdict::next;
    }
    auto range = of.missing.upper_bound(sequence);
    if (range == of.missing.begin() || (--range)->second < sequence) {
        return verdict::repeated;
    }
    const auto [first, last] = *range;
    of.missing.erase(range);
    if (first < sequence) {
        of.missing.emplace(first, sequence - 1);
    }
    if (sequence < last) {
        of.missing.emplace(sequence + 1, last);
    }
    --missing_;
    return verdict::late;
}

std::vector<const std::pair<const std::string, source_ledger> *> ledger::changed() const {
    std::vector<const std::pair<const std::string, source_ledger> *> result;
    result.reserve(changed_.size());
    for (const std::string_view source : changed_) {
        result.push_back(&*sources_.find(source));
    }
    return result;
}

void ledger::restore(const std::string &source, source_ledger of) {
    missing_ += of.missing_count();
    sources_[source] = std::move(of);
}

std::vector<std::string> ledger::forget(std::uint64_t heard_before_ns) {
    std::vector<std::string> gone;
    for (auto each = sources_.begin(); each != sources_.end();) {
        if (each->second.heard_ns < heard_before_ns) {
            missing_ -= std::min(missing_, each->second.missing_count());
            changed_.erase(each->first);
            gone.push_back(each->first);
            each = sources_.erase(each);
        } else {
            ++each;
        }
    }
    return gone;
}

std::string to_text(const std::map<std::uint64_t, std::uint64_t> &ranges) {
    std::string text;
    for (const auto &[first, last] : ranges) {
        text += (text.empty() ? "" : " ") + std::to_string(first) + "-" + std::to_string(last);
    }
    return text;
}

std::map<std::uint64_t, std::uint64_t> read_ranges(std::string_view text) {
    std::map<std::uint64_t, std::uint64_t> ranges;
    const char *at = text.data();
    const char *const end = at + text.size();
    while (at < end) {
        std::uint64_t first = 0, last = 0;
        const auto [dash, first_error] = std::from_chars(at, end, first);
        if (first_error != std::errc() || dash == end || *dash != '-') {
            break;
        }
        const auto [space, last_error] = std::from_chars(dash + 1, end, last);
        if (last_error != std::errc() || last < first) {
            break;
        }
        ranges.emplace(first, last);
        at = space == end ? end : space + 1;
    }
    return ranges;
}

}  // namespace ptp_fleet
