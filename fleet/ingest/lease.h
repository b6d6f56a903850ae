// Which of several processes works: the one that holds a key, for as long as it keeps saying so.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "server.h"

namespace ptp_fleet {

class lease {
  public:
    /** Makes the bucket where there is none. @param holder  unique among processes. Throws std::runtime_error. */
    lease(const std::string &uri, const std::string &name, const std::string &holder, double seconds, int replicas);
    ~lease();
    lease(const lease &) = delete;
    lease &operator=(const lease &) = delete;

    /** Tries once. When it is had, it is kept by a thread until this is destroyed or somebody else has it. */
    bool take();
    /** Somebody else has it. */
    bool is_lost() const { return is_lost_; }
    /** Nobody else can have it now. */
    bool is_sure() const;
    /** Who has it, for people; empty: nobody. */
    std::string holder();

  private:
    using clock = std::chrono::steady_clock;

    void keep();
    void renew();

    std::string name_, holder_;
    std::chrono::duration<double> length_;
    server server_;
    std::unique_ptr<kvStore, vela::nats::destroyer<kvStore_Destroy>> bucket_;
    std::uint64_t revision_ = 0;
    std::atomic<bool> is_lost_ = false;
    std::mutex mutex_;
    std::condition_variable ending_;
    bool is_ending_ = false;
    std::atomic<clock::rep> until_ = 0;
    std::thread keeping_;
};

}  // namespace ptp_fleet
