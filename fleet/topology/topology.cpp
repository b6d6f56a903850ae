// Builds the forest in three passes: who is where, who hangs below whom, and what is no tree.
#include "topology.h"

#include <algorithm>
#include <map>

namespace ptp_fleet {
namespace {

class builder {
  public:
    explicit builder(std::span<const clock_summary> of) : rows_(of) {}

    topology build() {
        for (const clock_summary &row : rows_) {
            add_clock(row);
        }
        for (std::size_t i = 0; i < rows_.size(); ++i) {
            hang(i);
        }
        find_loops();
        for (std::size_t i = 0; i < made_.nodes.size(); ++i) {
            topology_node &node = made_.nodes[i];
            if (node.parent != nobody) {
                made_.nodes[node.parent].children.push_back(i);
            } else {
                made_.roots.push_back(i);
            }
        }
        measure();
        return std::move(made_);
    }

  private:
    void add_clock(const clock_summary &row) {
        topology_node node;
        node.name = row.name;
        if (row.identity) {
            node.identity = *row.identity;
            const auto [place, is_new] = index_.try_emplace(*row.identity, made_.nodes.size());
            node.is_duplicate = !is_new;
            if (!is_new) {
                made_.nodes[place->second].is_duplicate = true;
            }
        }
        made_.nodes.push_back(std::move(node));
    }

    std::size_t outside(const clock_identity &identity) {
        const auto [place, is_new] = index_.try_emplace(identity, made_.nodes.size());
        if (is_new) {
            topology_node node;
            node.identity = identity;
            node.is = standing::outside;
            made_.nodes.push_back(std::move(node));
        }
        return place->second;
    }

    void hang(std::size_t number) {
        const clock_summary &row = rows_[number];
        if (!row.identity || !row.parent) {
            return;
        }
        if (*row.parent == *row.identity) {
            made_.nodes[number].is = standing::grandmaster;
            return;
        }
        const std::size_t parent = outside(*row.parent);
        topology_node &node = made_.nodes[number];
        node.parent = parent;
        const bool is_outside = made_.nodes[parent].is == standing::outside;
        node.is = is_outside && row.grandmaster != row.parent ? standing::orphan : standing::follows;
        node.disagrees = !is_outside && row.grandmaster && rows_[parent].grandmaster &&
                         *row.grandmaster != *rows_[parent].grandmaster;
    }

    /** Each node is entered once; who is met again on the way that began this time closes a loop. */
    void find_loops() {
        std::vector<std::size_t> seen(made_.nodes.size(), nobody);
        for (std::size_t start = 0; start < made_.nodes.size(); ++start) {
            std::vector<std::size_t> way;
            std::size_t at = start;
            while (at != nobody && seen[at] == nobody) {
                seen[at] = start;
                way.push_back(at);
                at = made_.nodes[at].parent;
            }
            if (at != nobody && seen[at] == start) {
                made_.loops.emplace_back(std::find(way.begin(), way.end(), at), way.end());
                for (const std::size_t member : made_.loops.back()) {
                    made_.nodes[member].is = standing::loop;
                }
            }
        }
    }

    void measure() {
        std::vector<std::size_t> next = made_.roots;
        for (std::size_t i = 0; i < next.size(); ++i) {
            for (const std::size_t child : made_.nodes[next[i]].children) {
                made_.nodes[child].depth = made_.nodes[next[i]].depth + 1;
                next.push_back(child);
            }
        }
    }

    std::span<const clock_summary> rows_;
    std::map<clock_identity, std::size_t> index_;
    topology made_;
};

constexpr const char *standing_texts[] = {"grandmaster", "follows", "outside", "orphan", "loop", "unidentified"};

}  // namespace

const char *to_text(standing of) { return standing_texts[static_cast<std::size_t>(of)]; }

topology make_topology(std::span<const clock_summary> of) { return builder(of).build(); }

std::vector<std::size_t> upstream(const topology &of, std::size_t node) {
    std::vector<std::size_t> result;
    for (std::size_t at = of.nodes[node].parent; at != nobody; at = of.nodes[at].parent) {
        if (std::find(result.begin(), result.end(), at) != result.end()) {
            break;
        }
        result.push_back(at);
    }
    return result;
}

}  // namespace ptp_fleet
