// ptp4l behind the interface of agent/daemon.h: asked, set and subscribed to over its management socket.
#pragma once

#include <deque>
#include <set>

#include "agent/daemon.h"
#include "agent/management/client.h"

namespace ptp_agent {

struct Ptp4lOptions {
    ManagementOptions management;
    std::string executable = "ptp4l";
    /** Arguments before those of the agent, e.g. to write its log to standard output as well. */
    std::vector<std::string> arguments;
    /** The intent in the daemon's terms; render_ptp4l() of render/plan.h. */
    std::function<Rendering(const ClockIntent &)> renderer;
};

class Ptp4l : public Daemon {
  public:
    Ptp4l(EventLoop &loop, Ptp4lOptions options);

    std::string_view name() const override { return "ptp4l"; }
    Rendering render(const ClockIntent &intent) const override { return options_.renderer(intent); }
    std::vector<std::string> command(const std::string &configuration_path) const override;
    std::optional<Trial> trial(const Rendering &rendering) const override;
    void observe(std::function<void(const Observation &)> done) override;
    void set(const Settings &settings, std::function<void(const SettingResult &)> done) override;
    void subscribe(std::function<void(const DaemonEvent &)> on_event) override;
    void running_in_domain(std::uint8_t domain) override { client_.set_domain(domain); }

    const ManagementClient &client() const { return client_; }

  private:
    using Done = std::function<void(const Observation &)>;
    /** An observation whose answers are still coming. */
    struct Gathering {
        Observation found;
        Done done;
        unsigned missing = 0;
    };
    using Shared = std::shared_ptr<Gathering>;
    using Store = std::function<void(Observation &, const ManagementReply &)>;
    struct Setting {
        ManagementId id;
        std::vector<std::uint8_t> data;
    };
    using Steps = std::shared_ptr<std::deque<Setting>>;

    void begin_observation();
    void ask(const Shared &gathering, std::uint16_t port, ManagementId id, Store store);
    void ask_the_rest(const Shared &gathering);
    void ask_port(const Shared &gathering, std::size_t index);
    void finish(const Shared &gathering);
    void set_next(const Steps &steps, const std::function<void(const SettingResult &)> &done);
    void renew();
    void tell(ManagementId id, std::span<const std::uint8_t> data, const PortIdentity &source);

    Ptp4lOptions options_;
    ManagementClient client_;
    std::deque<Done> observers_;      // the first is being served
    std::set<ManagementId> unknown_;  // to the daemon that runs now
    std::function<void(const DaemonEvent &)> on_event_;
    Timer renewal_;
};

}  // namespace ptp_agent
