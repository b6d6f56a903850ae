// ptp_agent: a daemon beside a PTP daemon, which it configures from messages, keeps running, and reports of.
#include <signal.h>
#include <systemd/sd-daemon.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "agent/serve/agent.h"
#include "agent/serve/status_server.h"
#include "base/clocks.h"
#include "bitlog.h"

namespace {

using namespace ptp_agent;

constexpr int bad_configuration = 2;
constexpr std::uint64_t stop_timeout_ms = 8000;
constexpr std::uint64_t status_ms = 5000;

/** The agent says itself what was wrong; the library's trace is for files. */
void silent(void *, const bitlog_record *) {}

/** Keeps the service manager informed. */
class ServiceManager {
  public:
    ServiceManager(EventLoop &loop, Agent &agent) : agent_(agent), timer_(loop, [this] { tell(); }) {
        sd_event_set_watchdog(loop.get(), 1);
        sd_notify(0, "READY=1");
        tell();
    }

  private:
    void tell() {
        sd_notifyf(0, "STATUS=%s", agent_.summary().c_str());
        timer_.start_ms(status_ms);
    }

    Agent &agent_;
    Timer timer_;
};

void reload(Agent &agent, const std::string &path) {
    sd_notifyf(0, "RELOADING=1\nMONOTONIC_USEC=%llu",
               static_cast<unsigned long long>(base::clock_ns(CLOCK_MONOTONIC) / 1000));
    try {
        agent.reconfigure(read_configuration(path));
    } catch (const std::exception &error) {
        agent.log().add(Severity::Error, "", std::string("the configuration stays as it was: ") + error.what());
    }
    sd_notify(0, "READY=1");
}

int run(const std::string &path) {
    AgentConfiguration configuration = read_configuration(path);
    EventLoop loop;
    // Before anything is made that a signal would leave behind.
    Agent *running = nullptr;
    Timer too_late(loop, [&loop] { loop.exit(1); });
    const auto end = [&] {
        sd_notify(0, "STOPPING=1");
        too_late.start_ms(stop_timeout_ms);
        if (running != nullptr) {
            running->stop([&loop] { loop.exit(0); });
        }
    };
    const EventSource terminate = loop.watch_signal(SIGTERM, end), interrupt = loop.watch_signal(SIGINT, end);
    const EventSource hang_up = loop.watch_signal(SIGHUP, [&] { reload(*running, path); });
    ::signal(SIGPIPE, SIG_IGN);

    Agent agent(loop, std::move(configuration));
    running = &agent;
    StatusServer status(loop, agent);
    ServiceManager manager(loop, agent);
    return loop.run();
}

}  // namespace

// Only lack of memory before anything began gets out of here. NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char **argv) {
    CLI::App app(
        "Configures a PTP daemon from messages of the control plane, keeps it running, and reports what it does.");
    std::string path = "/etc/ptp_agent.toml";
    bool check = false;
    app.add_option("--config", path, "the agent's configuration")->type_name("FILE")->capture_default_str();
    app.add_flag("--check", check, "only tell whether the configuration is right");
    CLI11_PARSE(app, argc, argv);
    bitlog_set_sink(silent, nullptr);
    try {
        if (check) {
            read_configuration(path);
            return 0;
        }
        return run(path);
    } catch (const ConfigurationError &error) {
        std::fprintf(stderr, "ptp_agent: %s\n", error.what());
        return bad_configuration;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "ptp_agent: %s\n", error.what());
        return 1;
    }
}
