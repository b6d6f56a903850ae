// The tree of resource addresses: which there are, and what an address that a consumer writes stands for.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ptp_agent::notification {

enum class Resource : std::uint8_t { SyncState, OsClockSyncState, LockState, ClockClass, GnssSyncStatus };

inline constexpr std::size_t resource_count = 5;

/** A set of resources; the index is the number of a Resource. */
using ResourceSet = std::bitset<resource_count>;

struct ResourceRow {
    Resource resource;
    std::string_view path;        ///< below the node
    std::string_view event_type;  ///< of its events
    std::string_view meaning;     ///< for people
};

/** All resources, at the index of their number. */
extern const std::array<ResourceRow, resource_count> resource_rows;

inline const ResourceRow &row_of(Resource resource) { return resource_rows[static_cast<std::size_t>(resource)]; }

/** An address as it is understood. */
struct ResolvedAddress {
    std::string canonical;  ///< the same for all ways to write it
    ResourceSet resources;  ///< the resource itself, or all below a parent
};

/** The addresses of one node. */
class AddressSpace {
  public:
    /** @param served  the resources that the node has */
    AddressSpace(std::string cluster, std::string node, ResourceSet served);

    /**
     * Understands `/cluster/node/NODE/sync/...`, `/CLUSTER/NODE/sync/...` and their parents. `.` stands for the local
     * cluster or node, and so does its absence, since HTTP clients take `.` out of the paths that they are given. Nothing
     * where the address names another node or no resource of this one.
     */
    std::optional<ResolvedAddress> resolve(std::string_view address) const;

    std::string address_of(Resource resource) const;
    ResourceSet served() const { return served_; }

  private:
    std::string cluster_;
    std::string node_;
    ResourceSet served_;
};

/** The parts of a path between slashes, empty ones left out. */
std::vector<std::string_view> segments(std::string_view path);

}  // namespace ptp_agent::notification
