// The store of subscriptions and its file.
#include "agent/notification/subscriptions.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <utility>

#include "agent/notification/events.h"
#include "agent/notification/files.h"

namespace ptp_agent::notification {
namespace {

constexpr int file_format = 1;

Json kept_form(const Subscription &subscription) {
    return {{"SubscriptionId", subscription.id},
            {"ResourceAddress", subscription.address},
            {"EndpointUri", subscription.endpoint_uri},
            {"peer", subscription.peer}};
}

/** Throws nlohmann's exceptions where a member is missing or of another type. */
Subscription from_kept_form(const Json &kept) {
    Subscription subscription;
    subscription.id = kept.at("SubscriptionId").get<std::string>();
    subscription.address = kept.at("ResourceAddress").get<std::string>();
    subscription.endpoint_uri = kept.at("EndpointUri").get<std::string>();
    subscription.peer = kept.at("peer").get<std::string>();
    subscription.is_confirmed = true;
    return subscription;
}

std::vector<Subscription> read_kept(const std::string &text) {
    const Json file = Json::parse(text);
    if (file.at("format").get<int>() != file_format) {
        throw std::runtime_error("it is of another release");
    }
    std::vector<Subscription> found;
    for (const Json &kept : file.at("subscriptions")) {
        found.push_back(from_kept_form(kept));
    }
    return found;
}

}  // namespace

void Subscriptions::load(const AddressSpace &addresses, const Log &log) {
    const std::optional<std::string> text = path_.empty() ? std::nullopt : file_text(path_);
    if (!text) {
        if (!path_.empty() && errno != ENOENT) {
            log("subscriptions: " + path_ + " cannot be read: " + std::strerror(errno));
        }
        return;
    }
    std::vector<Subscription> kept;
    try {
        kept = read_kept(*text);
    } catch (const std::exception &error) {
        const std::string aside = path_ + ".unreadable";
        std::rename(path_.c_str(), aside.c_str());
        log("subscriptions: " + path_ + " is now " + aside + " and consumers must subscribe again: " + error.what());
        return;
    }
    for (Subscription &subscription : kept) {
        std::optional<ResolvedAddress> resolved = addresses.resolve(subscription.address);
        if (!resolved) {
            log("subscriptions: " + subscription.endpoint_uri + " is subscribed no more: this node has no " +
                subscription.address);
            continue;
        }
        subscription.resolved = std::move(*resolved);
        add(std::move(subscription));
    }
}

const Subscription *Subscriptions::find_same(const std::string &canonical_address,
                                             const std::string &endpoint_uri) const {
    const auto found = std::find_if(all_.begin(), all_.end(), [&](const auto &entry) {
        return entry.second.resolved.canonical == canonical_address && entry.second.endpoint_uri == endpoint_uri;
    });
    return found != all_.end() ? &found->second : nullptr;
}

bool Subscriptions::is_full_for(const std::string &peer) const {
    const auto count =
        std::count_if(all_.begin(), all_.end(), [&peer](const auto &entry) { return entry.second.peer == peer; });
    return static_cast<std::size_t>(count) >= limits_.subscriptions_per_peer;
}

void Subscriptions::add(Subscription subscription) {
    std::string id = subscription.id;
    all_.insert_or_assign(std::move(id), std::move(subscription));
}

std::string Subscriptions::confirm(const std::string &id) {
    all_.at(id).is_confirmed = true;
    std::string error = save();
    if (!error.empty()) {
        all_.erase(id);
    }
    return error;
}

std::string Subscriptions::remove(const std::string &id) {
    auto taken = all_.extract(id);
    if (taken.empty() || !taken.mapped().is_confirmed) {
        return {};  // the file knows nothing of it
    }
    std::string error = save();
    if (!error.empty()) {
        all_.insert(std::move(taken));
    }
    return error;
}

std::string Subscriptions::remove_all_confirmed() {
    Map before = all_;
    std::erase_if(all_, [](const auto &entry) { return entry.second.is_confirmed; });
    std::string error = save();
    if (!error.empty()) {
        all_ = std::move(before);
    }
    return error;
}

const Subscription *Subscriptions::confirmed(const std::string &id) const {
    const auto found = all_.find(id);
    return found != all_.end() && found->second.is_confirmed ? &found->second : nullptr;
}

std::string Subscriptions::save() const {
    if (path_.empty()) {
        return {};
    }
    Json kept = Json::array();
    for (const auto &[id, subscription] : all_) {
        if (subscription.is_confirmed) {
            kept.push_back(kept_form(subscription));
        }
    }
    return replace_file(path_, Json{{"format", file_format}, {"subscriptions", std::move(kept)}}.dump(2) + "\n");
}

}  // namespace ptp_agent::notification
