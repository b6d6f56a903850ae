// The notification service in a process of its own, as the tests drive it.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "agent/notification/service.h"
#include "base/file_descriptor.h"

namespace notification_test {

/** A state in few words; an empty text or a negative class is no reading. */
struct State {
    std::string ptp = "LOCKED";
    int clock_class = 6;
    std::string os_clock = "LOCKED";
    std::string gnss = {};
    double offset_ns = 0;
};

/** Defaults for tests: any port, and times that hold on a busy machine too. */
ptp_agent::notification::Configuration quick_configuration();

class Producer {
  public:
    /** Throws std::runtime_error with the service's own words when it does not start. */
    explicit Producer(const ptp_agent::notification::Configuration &configuration);
    Producer(const Producer &) = delete;
    Producer &operator=(const Producer &) = delete;
    /** Ends the service in order and expects that it left no fault behind. */
    ~Producer();

    void set_state(const State &state);
    ptp_agent::notification::Statistics statistics();
    /** kill -9. */
    void kill();

    std::uint16_t port() const { return port_; }
    std::string url(const std::string &path) const;

  private:
    std::string ask(const std::string &command);

    bool has_tls_;
    pid_t process_ = -1;
    std::uint16_t port_ = 0;
    base::file_descriptor control_;
};

}  // namespace notification_test
