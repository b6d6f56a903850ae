// Who is subscribed to what, kept in a file.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "agent/notification/configuration.h"
#include "agent/notification/resources.h"

namespace ptp_agent::notification {

struct Subscription {
    std::string id;            ///< UUID
    std::string address;       ///< of the resource, as the consumer wrote it
    std::string endpoint_uri;  ///< where its events are posted
    std::string peer;          ///< IP address of who subscribed
    ResolvedAddress resolved;
    bool is_confirmed = false;  ///< the consumer took its first event
};

/**
 * Those that wait for their first event count for limits and duplicates; only those that took it are kept and shown.
 * Each change is on the disk when the call returns, or has not happened.
 */
class Subscriptions {
  public:
    using Map = std::map<std::string, Subscription>;
    using Log = std::function<void(const std::string &)>;

    /** @param path  of the file; empty: nothing is kept */
    Subscriptions(std::string path, const Limits &limits) : path_(std::move(path)), limits_(limits) {}

    /**
     * Reads what was kept. What no longer fits, such as a resource that the node has no more, is left out; a file that
     * cannot be understood is renamed to FILE.unreadable. Both are logged.
     */
    void load(const AddressSpace &addresses, const Log &log);

    /** The one with the same meaning, or null. */
    const Subscription *find_same(const std::string &canonical_address, const std::string &endpoint_uri) const;
    bool is_full() const { return all_.size() >= limits_.subscriptions; }
    bool is_full_for(const std::string &peer) const;

    /** Takes one that is not confirmed yet. */
    void add(Subscription subscription);
    /** @return empty, or why it could not be kept: it is then gone */
    std::string confirm(const std::string &id);
    /** @return empty, or why the file could not be written: everything is then as it was */
    std::string remove(const std::string &id);
    std::string remove_all_confirmed();

    const Map &all() const { return all_; }
    /** Null where there is none that was confirmed. */
    const Subscription *confirmed(const std::string &id) const;

  private:
    std::string save() const;

    std::string path_;
    Limits limits_;
    Map all_;
};

}  // namespace ptp_agent::notification
