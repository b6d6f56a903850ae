// The tree of resource addresses as rows, and how an address is resolved.
#include "agent/notification/resources.h"

#include <algorithm>
#include <initializer_list>
#include <span>
#include <utility>

namespace ptp_agent::notification {

const std::array<ResourceRow, resource_count> resource_rows{{
    {Resource::SyncState, "sync/sync-status/sync-state", "event.sync.sync-status.synchronization-state-change",
     "the worse of PTP and operating-system clock"},
    {Resource::OsClockSyncState, "sync/sync-status/os-clock-sync-state",
     "event.sync.sync-status.os-clock-sync-state-change", "state of the operating system's clock"},
    {Resource::LockState, "sync/ptp-status/lock-state", "event.sync.ptp-status.ptp-state-change",
     "state of the PTP clock"},
    {Resource::ClockClass, "sync/ptp-status/clock-class", "event.sync.ptp-status.ptp-clock-class-change",
     "clock class of the PTP clock"},
    {Resource::GnssSyncStatus, "sync/gnss-status/gnss-sync-status", "event.sync.gnss-status.gnss-state-change",
     "state of the GNSS receiver"},
}};

namespace {

using Segments = std::span<const std::string_view>;

std::string joined(Segments parts) {
    std::string text;
    for (const std::string_view part : parts) {
        text.append("/").append(part);
    }
    return text;
}

/** The resources at or below a place of the tree: those whose path begins with these segments. */
ResourceSet at_or_below(Segments place) {
    ResourceSet found;
    for (const ResourceRow &row : resource_rows) {
        const std::vector<std::string_view> path = segments(row.path);
        const std::size_t length = place.size();
        if (length <= path.size() && joined(place) == joined(Segments(path).first(length))) {
            found.set(static_cast<std::size_t>(row.resource));
        }
    }
    return found;
}

}  // namespace

std::vector<std::string_view> segments(std::string_view path) {
    std::vector<std::string_view> parts;
    while (!path.empty()) {
        const std::string_view part = path.substr(0, path.find('/'));
        if (!part.empty()) {
            parts.push_back(part);
        }
        path.remove_prefix(part.size() < path.size() ? part.size() + 1 : path.size());
    }
    return parts;
}

AddressSpace::AddressSpace(std::string cluster, std::string node, ResourceSet served)
    : cluster_(std::move(cluster)), node_(std::move(node)), served_(served) {}

std::optional<ResolvedAddress> AddressSpace::resolve(std::string_view address) const {
    std::vector<std::string_view> parts = segments(address);
    if (parts.empty()) {
        return std::nullopt;
    }
    std::erase(parts, ".");
    Segments place(parts);
    const auto skip = [&place](std::initializer_list<std::string_view> words) {
        if (!place.empty() && std::find(words.begin(), words.end(), place.front()) != words.end()) {
            place = place.subspan(1);
        }
    };
    skip({"cluster", cluster_});
    skip({"node"});
    skip({node_});
    const ResourceSet resources = at_or_below(place) & served_;
    if (resources.none()) {
        return std::nullopt;
    }
    return ResolvedAddress{"/" + cluster_ + "/node/" + node_ + joined(place), resources};
}

std::string AddressSpace::address_of(Resource resource) const {
    return "/" + cluster_ + "/node/" + node_ + "/" + std::string(row_of(resource).path);
}

}  // namespace ptp_agent::notification
