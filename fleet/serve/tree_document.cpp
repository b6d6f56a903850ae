// Who follows whom, as JSON.
#include <algorithm>
#include <map>

#include "documents.h"

namespace ptp_fleet {
namespace {

constexpr std::uint64_t ns_in_ms = 1'000'000;

/** Whom a clock that follows nobody now followed before, by its latest change of parent. */
json former_parent(const services &from, const clock_row &of, const std::map<clock_identity, std::size_t> &places) {
    for (const change_entry &one : from.state.recent_changes(of.is.name, 16)) {
        const std::optional<clock_identity> before = read_identity(one.before);
        if (one.what == "parent" && before && before != of.is.identity) {
            const auto place = places.find(*before);
            return place == places.end() ? json() : json(place->second);
        }
    }
    return {};
}

std::map<clock_identity, std::size_t> places_of(const topology &tree) {
    std::map<clock_identity, std::size_t> places;
    for (std::size_t i = 0; i < tree.nodes.size(); ++i) {
        places.emplace(tree.nodes[i].identity, i);
    }
    return places;
}

}  // namespace

json tree_json(const services &from, const clock_table &table, std::uint64_t now_ns) {
    const std::uint64_t change = table.change();
    const std::vector<clock_row> rows = table.look([](const std::vector<clock_row> &all) { return all; });
    std::vector<clock_summary> summaries;
    summaries.reserve(rows.size());
    std::transform(rows.begin(), rows.end(), std::back_inserter(summaries),
                   [](const clock_row &one) { return one.is; });
    const topology tree = make_topology(summaries);
    const std::map<clock_identity, std::size_t> places = places_of(tree);
    json nodes = json::array();
    for (std::size_t i = 0; i < tree.nodes.size(); ++i) {
        const topology_node &node = tree.nodes[i];
        const bool is_clock = i < rows.size();
        const bool has_lost = is_clock && node.is == standing::grandmaster && rows[i].is.lock != lock_state::phase;
        nodes.push_back(json::array(
            {is_clock ? json(i) : json(), node.is == standing::unidentified ? json() : json(to_text(node.identity)),
             to_text(node.is), node.parent == nobody ? json() : json(node.parent),
             has_lost ? former_parent(from, rows[i], places) : json(), node.disagrees, node.is_duplicate}));
    }
    return {{"time", now_ns / ns_in_ms},
            {"change", change},
            {"columns", {"index", "identity", "standing", "parent", "was_below", "disagrees", "duplicate"}},
            {"nodes", std::move(nodes)},
            {"loops", tree.loops}};
}

}  // namespace ptp_fleet
