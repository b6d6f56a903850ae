// Posts events to an address, in their order, until each was taken.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace ptp_fleet {

struct webhook_options {
    std::string url;         // http or https
    std::string token_file;  // its first line goes into Authorization: Bearer
    std::string ca;          // PEM file; empty: the system's
    double give_up_s = 86'400;
};

class webhook {
  public:
    /** @param tell  told once when posting begins to fail, and when it works again */
    webhook(webhook_options options, std::function<void(const std::string &)> tell);
    ~webhook();
    webhook(const webhook &) = delete;
    webhook &operator=(const webhook &) = delete;

    /** Takes an event of type application/cloudevents+json; it is posted by a thread. */
    void post(std::string event);
    std::size_t waiting() const;

  private:
    void run();
    /** Empty when it was taken, else why not. */
    std::string try_to_post(const std::string &event) const;

    webhook_options options_;
    std::function<void(const std::string &)> tell_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::string> events_;
    bool is_ending_ = false;
    std::thread thread_;
};

}  // namespace ptp_fleet
