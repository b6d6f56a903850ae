// A key that the server lets go of when nobody has renewed it. Whose revision is the last one, holds it.
#include "lease.h"

namespace ptp_fleet {
namespace {

constexpr double patience_s = 10;
constexpr char bucket_name[] = "PTP-FLEET";

}  // namespace

lease::lease(const std::string &uri, const std::string &name, const std::string &holder, double seconds, int replicas)
    : name_("collector." + name), holder_(holder), length_(seconds), server_(uri, false, patience_s) {
    kvStore *found = nullptr;
    if (js_KeyValue(&found, server_.stream_context(), bucket_name) != NATS_OK) {
        kvConfig wanted;
        kvConfig_Init(&wanted);
        wanted.Bucket = bucket_name;
        wanted.TTL = static_cast<std::int64_t>(seconds * 1e9);
        wanted.StorageType = js_FileStorage;
        wanted.Replicas = replicas;
        check(js_CreateKeyValue(&found, server_.stream_context(), &wanted), uri + ": bucket " + bucket_name);
    }
    bucket_.reset(found);
}

lease::~lease() {
    {
        const std::lock_guard lock(mutex_);
        is_ending_ = true;
    }
    ending_.notify_all();
    if (keeping_.joinable()) {
        keeping_.join();
        if (!is_lost_) {
            kvStore_Delete(bucket_.get(), name_.c_str());
        }
    }
}

bool lease::is_sure() const { return !is_lost_ && clock::now().time_since_epoch().count() < until_; }

std::string lease::holder() {
    kvEntry *entry = nullptr;
    if (kvStore_Get(&entry, bucket_.get(), name_.c_str()) != NATS_OK) {
        return {};
    }
    const char *text = kvEntry_ValueString(entry);
    std::string result = text != nullptr ? text : "";
    kvEntry_Destroy(entry);
    return result;
}

bool lease::take() {
    const auto asked = clock::now();
    if (kvStore_CreateString(&revision_, bucket_.get(), name_.c_str(), holder_.c_str()) != NATS_OK) {
        return false;
    }
    until_ = (asked + std::chrono::duration_cast<clock::duration>(length_)).time_since_epoch().count();
    if (!keeping_.joinable()) {
        keeping_ = std::thread([this] { keep(); });
    }
    return true;
}

void lease::renew() {
    const auto asked = clock::now();
    const natsStatus status =
        kvStore_UpdateString(&revision_, bucket_.get(), name_.c_str(), holder_.c_str(), revision_);
    if (status == NATS_OK) {
        until_ = (asked + std::chrono::duration_cast<clock::duration>(length_)).time_since_epoch().count();
        return;
    }
    // Nobody answered, or it ran out, or an answer to a renewal was lost; or somebody else has it.
    const std::string now = holder();
    if (now == holder_) {
        kvEntry *entry = nullptr;
        if (kvStore_Get(&entry, bucket_.get(), name_.c_str()) == NATS_OK) {
            revision_ = kvEntry_Revision(entry);
            kvEntry_Destroy(entry);
        }
    } else if (!now.empty()) {
        is_lost_ = true;
    } else {
        take();
    }
}

void lease::keep() {
    std::unique_lock lock(mutex_);
    while (!is_ending_ && !is_lost_) {
        if (!ending_.wait_for(lock, length_ / 4, [this] { return is_ending_; })) {
            lock.unlock();
            renew();
            lock.lock();
        }
    }
}

}  // namespace ptp_fleet
