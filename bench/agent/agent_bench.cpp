// What the agent costs, with real daemons in namespaces of its own: agent_bench [SECONDS]. Prints a table.
//
// Beside it the tool that comes with the daemon is asked for the same, once for everything and once for each question.
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "agent/intent/fields.h"
#include "agent/management/ptp4l.h"
#include "agent/observe/reporter.h"
#include "ptp_cfg/receive.h"
#include "support/element.h"
#include "support/messages.h"
#include "support/ptp4l_process.h"
#include "vela_bundle.h"

namespace {

using namespace ptp_agent;
using Clock = std::chrono::steady_clock;

constexpr int ports = 8, streams = 128;
constexpr u_int32 bundle_bytes = 1 << 19;

struct Cost {
    double wall_us = 0, processor_us = 0;
};

double processor_us(int who) {
    rusage usage = {};
    getrusage(who, &usage);
    const auto us = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
    };
    return us(usage.ru_utime) + us(usage.ru_stime);
}

/** Mean of several runs. @param who  RUSAGE_SELF or RUSAGE_CHILDREN */
Cost measure(int who, int runs, const std::function<void()> &work) {
    const auto begin = Clock::now();
    const double processor = processor_us(who);
    for (int i = 0; i < runs; ++i) {
        work();
    }
    const std::chrono::duration<double, std::micro> wall = Clock::now() - begin;
    return {wall.count() / runs, (processor_us(who) - processor) / runs};
}

void print(const char *what, const Cost &cost, const Cost &first) {
    std::printf("| %s | %.0f (%.0f x) | %.0f (%.0f x) |\n", what, cost.wall_us, cost.wall_us / first.wall_us,
                cost.processor_us, cost.processor_us / first.processor_us);
}

/** Marshals reports as the agent does. */
std::vector<u_int8> bundled(vela_handle *handle, const std::vector<ptp_agent::Report> &reports) {
    u_int32 err = 0;
    vela_bundle *bundle = vela_bundle_open(handle, 0, bundle_bytes, &err);
    for (const ptp_agent::Report &each : reports) {
        vela_bundle_add(handle, 0, describe(each.message.type()).operations->marshal, each.message.message(), &err);
    }
    const u_int8 *bytes = nullptr;
    u_int32 length = 0;
    vela_bundle_close(handle, &bytes, &length, &err);
    std::vector<u_int8> result(bytes, bytes + length);
    vela_bundle_destroy(bundle);
    return result;
}

/** A daemon that is asked, and what is made of its answers. */
class Observed {
  public:
    explicit Observed(const test::Ptp4lProcess &process)
        : handle_(make_tracking_handle()), reporter_(handle_, 1), daemon_(loop_, options(process)) {}

    Observation observe() {
        std::optional<Observation> found;
        daemon_.observe([&](const Observation &each) { found = each; });
        test::run_until(loop_, [&] { return found.has_value(); });
        return found.value_or(Observation());
    }
    std::vector<u_int8> report(const Observation &found, bool full) {
        ReportInput input;
        input.now = &found;
        input.full = full;
        return bundled(handle_.get(), reporter_.report(input));
    }

  private:
    Ptp4lOptions options(const test::Ptp4lProcess &process) const {
        Ptp4lOptions result;
        result.management.daemon_path = process.socket_path();
        result.management.own_directory = directory_.path();
        return result;
    }

    test::TemporaryDirectory directory_;
    EventLoop loop_;
    SharedHandle handle_;
    Reporter reporter_;
    Ptp4l daemon_;
};

const std::vector<std::string> questions = {
    "GET DEFAULT_DATA_SET",         "GET CURRENT_DATA_SET", "GET PARENT_DATA_SET",
    "GET TIME_PROPERTIES_DATA_SET", "GET TIME_STATUS_NP",   "GET PORT_DATA_SET",
    "GET GRANDMASTER_SETTINGS_NP",  "GET PORT_STATS_NP",    "GET PORT_PROPERTIES_NP"};

void ask_tool(const std::string &socket, std::vector<std::string> asked) {
    std::string line = "exec pmc -u -b 0 -s " + socket;
    for (const std::string &each : asked) {
        line += " '" + each + "'";
    }
    test::run({"sh", "-c", line + " >/dev/null 2>&1"});
}

unsigned received = 0;
void on_bundle(vela_handle *handle, u_int32, const u_int8 *bundle, u_int32 length, void *) {
    u_int32 err = 0;
    ptp_cfg_bundle_report report = {};
    const auto destroy = [](vela_handle *owner, u_int32 mem_class, void *, const ptp_cfg_type *type, void *message,
                            u_int32 *) { ptp_cfg_message_destroy(owner, mem_class, type, message); };
    ptp_cfg_dispatch_bundle(handle, 0, destroy, nullptr, bundle, length, &report, &err);
    ++received;
}

/** From an observation in which a field differs to the handler of the control plane. */
Cost measure_change(Observed &observed, Observation found, const std::string &folder) {
    gable_bundle_handler_register(on_bundle);
    char reason[256] = "";
    u_int32 err = 0;
    const std::string uri = "unix:" + folder + "/change";
    vela_channel *sender = vela_channel_listen("gable", uri.c_str(), nullptr, reason, sizeof reason, &err);
    vela_channel *receiver = vela_channel_connect("gable", uri.c_str(), nullptr, reason, sizeof reason, &err);
    const SharedHandle own = make_handle(), other = make_tracking_handle();
    observed.report(found, true);
    const auto pass = [&] {
        found.default_ds->priority2 ^= 1;
        const std::vector<u_int8> bytes = observed.report(found, false);
        vela_channel_send(sender, bytes.data(), static_cast<u_int32>(bytes.size()), &err);
        for (const unsigned before = received; received == before && err == 0;) {
            vela_channel_process(sender, own.get(), 0, nullptr, 10, &err);
            vela_channel_process(receiver, other.get(), 0, nullptr, 10, &err);
        }
    };
    pass();
    const Cost cost = measure(RUSAGE_SELF, 5000, pass);
    vela_channel_close(receiver, nullptr);
    vela_channel_close(sender, nullptr);
    return cost;
}

void compare(const std::string &folder) {
    const test::Link link("one", "other");
    const test::Ptp4lProcess process(folder, "daemon", {"one"}), peer(folder, "peer", {"other"});
    Observed observed(process);
    test::run({"sleep", "2"});
    const Observation found = observed.observe();
    if (!found.default_ds) {
        std::fprintf(stderr, "agent_bench: the daemon does not answer\n%s", process.log().c_str());
        return;
    }
    std::printf("| work | wall, us | processor, us |\n|---|---:|---:|\n");
    const Cost ours = measure(RUSAGE_SELF, 2000, [&] { observed.report(observed.observe(), true); });
    print("a full clock report, from the daemon's replies to the bytes of messages", ours, ours);
    print("the same questions by pmc, one call for all",
          measure(RUSAGE_CHILDREN, 10, [&] { ask_tool(process.socket_path(), questions); }), ours);
    print("the same questions by pmc, a call for each",
          measure(RUSAGE_CHILDREN, 2,
                  [&] {
                      for (const std::string &each : questions) {
                          ask_tool(process.socket_path(), {each});
                      }
                  }),
          ours);
    print("one change, from the daemon's reply to the receiver's handler", measure_change(observed, found, folder),
          ours);
}

/** Processor time of a process so far, in seconds, and its resident memory in KiB. */
std::pair<double, long> usage_of(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string text((std::istreambuf_iterator<char>(file)), {});
    std::istringstream fields(text.substr(text.rfind(')') + 1));
    std::string skipped;
    for (int i = 0; i < 11; ++i) {
        fields >> skipped;
    }
    double user = 0, system = 0;
    fields >> user >> system;
    std::ifstream memory("/proc/" + std::to_string(process) + "/statm");
    long total = 0, resident = 0;
    memory >> total >> resident;
    return {(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK)), resident * (sysconf(_SC_PAGESIZE) / 1024)};
}

/** An agent whose clock has as many ports and streams as an element of some size. */
void run_large_element(int seconds) {
    test::Elements elements;
    test::ElementOptions options;
    options.poll_ms = 1000;
    test::Element &element = elements.add("large", options), &other = elements.add("other");
    const SharedHandle handle = make_handle();
    std::vector<Record> messages;
    messages.push_back(test::example(handle, "g8275_2_boundary_clock.xml"));
    messages.back().set("default_data_set.numberPorts", ports);
    for (int port = 1; port <= ports; ++port) {
        const std::string name = "ptp" + std::to_string(port);
        elements.connect(element, name, other, name, port);
        messages.push_back(test::port(handle, port, name,
                                      {{"clk_handle", 2},
                                       {"encap", VELA_PTP_CFG_PORT_ENCAP_IPV4},
                                       {"delay_mechanism", VELA_PTP_DELAY_MECHANISM_E2E}}));
    }
    for (int stream = 0; stream < streams; ++stream) {
        const int port = stream % ports + 1;
        messages.push_back(test::message(handle, "ptp_stream_cfg",
                                         {{"port_handle", port},
                                          {"stream_handle", stream + 1},
                                          {"unicast", 1},
                                          {"unicast_negotiation_duration", 60}}));
        test::set_ip(messages.back(), "dest_addr",
                     "10.0." + std::to_string(port) + "." + std::to_string(100 + stream / ports));
    }
    element.start();
    element.send(messages);
    if (!elements.wait_until(
            [&] { return element.last("ptp_clk_default_ds_msg", "numberPorts") == std::to_string(ports); }, 15000)) {
        std::fprintf(stderr, "agent_bench: the large element did not start\n%s", element.log().c_str());
        return;
    }
    elements.wait_ms(3000);
    const auto before = usage_of(element.process());
    elements.wait_ms(static_cast<std::uint64_t>(seconds) * 1000);
    const auto after = usage_of(element.process());
    std::printf(
        "\nAn agent with %d ports and %d streams, polled once a second for %d s: %.2f %% of a core, %ld KiB "
        "resident.\n",
        ports, streams, seconds, (after.first - before.first) / seconds * 100, after.second);
}

}  // namespace

int main(int argc, char **argv) {
    const std::string why_not = test::why_no_elements();
    if (!why_not.empty()) {
        std::printf("Not measured: %s.\n", why_not.c_str());
        return 0;
    }
    const test::TemporaryDirectory directory;
    compare(directory.path());
    std::fflush(stdout);
    run_large_element(argc > 1 ? std::atoi(argv[1]) : 30);
}
