// The daemon's file: what it says of a clock, that a real daemon takes each of its options, and that nothing else gets in.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "agent/render/plan.h"
#include "support/messages.h"
#include "support/network.h"
#include "support/ptp4l_process.h"
#include "support/surroundings.h"

namespace ptp_agent::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const RenderOptions software = {{{"time_stamping", "software"}}, {}};

class Render : public testing::Test, protected Wishes {
  protected:
    std::string file(const RenderOptions &options = software) { return render_ptp4l(clock(), options).rendering.file; }
    /** Clock 1 under a profile, with its domain. */
    void ask_for_clock(int profile, int domain,
                       std::initializer_list<std::pair<std::string_view, std::int64_t>> more = {}) {
        Record wanted = example(handle, "g8275_1_boundary_clock.xml");
        wanted.set("clk_profile", profile);
        wanted.set("default_data_set.clk_domain", domain);
        for (const auto &[path, value] : more) {
            EXPECT_TRUE(wanted.set(path, value)) << path;
        }
        ask(wanted);
    }
    Record stream(int number, Values values) {
        Record record = message(handle, "ptp_stream_cfg", {{"port_handle", 1}, {"stream_handle", number}});
        for (const auto &[path, value] : values) {
            EXPECT_TRUE(record.set(path, value)) << path;
        }
        return record;
    }
    Record unicast_stream(int number, const std::string &peer, Values values = {}) {
        Record record = stream(number, values);
        record.set("unicast", 1);
        set_ip(record, "dest_addr", peer);
        return record;
    }
};

TEST_F(Render, SaysAllOfATelecomBoundaryClock) {
    ask(example(handle, "g8275_1_boundary_clock.xml"));
    ask(port(handle, 2, "eth2", {{"not_slave", 1}}));
    ask(port(handle, 1, "eth1", {{"local_priority", 100}}));
    const Ptp4lRendering made = render_ptp4l(clock(), software);
    EXPECT_EQ(made.rendering.file, R"(# Written by ptp_agent for clock 1; changed here, it is overwritten.

[global]
clock_type BC
dataset_comparison G.8275.x
domainNumber 24
clockIdentity aabbcc.fffe.000110
slaveOnly 0
twoStepFlag 1
priority1 128
priority2 128
clockClass 248
clockAccuracy 0xFE
offsetScaledLogVariance 0xFFFF
G.8275.defaultDS.localPriority 128
utc_offset 37
timeSource 0xA0
time_stamping software

[eth1]
network_transport L2
delay_mechanism E2E
masterOnly 0
G.8275.portDS.localPriority 100
logAnnounceInterval -3
announceReceiptTimeout 3
logSyncInterval -4
logMinDelayReqInterval -4
ptp_dst_mac 01:80:c2:00:00:0e

[eth2]
network_transport L2
delay_mechanism E2E
masterOnly 1
G.8275.portDS.localPriority 128
logAnnounceInterval -3
announceReceiptTimeout 3
logSyncInterval -4
logMinDelayReqInterval -4
ptp_dst_mac 01:80:c2:00:00:0e
)");
    EXPECT_THAT(made.notes, ElementsAre(HasSubstr("one-step was asked for")));
    EXPECT_EQ(made.rendering.settings.priority2, 128);
    EXPECT_EQ(file(), made.rendering.file) << "the same again";
}

TEST_F(Render, AsksUnicastMastersByTheirAddresses) {
    ask_for_clock(5, 44);
    ask(port(handle, 1, "eth1"));
    ask(unicast_stream(4, "192.0.2.4", {{"unicast_negotiation_duration", 120}, {"log_sync_interval", -3}}));
    ask(unicast_stream(2, "192.0.2.2", {{"log_sync_interval", -5}}));
    ask(unicast_stream(3, "192.0.2.9", {{"stream_mode", 2}}));
    const std::string text = file();
    EXPECT_THAT(
        text, HasSubstr("[unicast_master_table]\ntable_id 1\nlogQueryInterval 0\nUDPv4 192.0.2.2\nUDPv4 192.0.2.4\n"));
    EXPECT_THAT(text, Not(HasSubstr("192.0.2.9"))) << "a slave is served, not asked";
    EXPECT_THAT(text, HasSubstr("logSyncInterval -5\n"));
    EXPECT_THAT(text, HasSubstr("hybrid_e2e 1\ninhibit_multicast_service 1\nunicast_listen 1\nunicast_master_table 1\n"
                                "unicast_req_duration 120\n"));
    EXPECT_THAT(render_ptp4l(clock(), software).notes, testing::Contains(HasSubstr("differ in log_sync_interval")));
}

TEST_F(Render, FollowsModesAndRoles) {
    ask_for_clock(0, 0, {{"clk_type", 1}, {"clk_mode", 2}, {"network_type", 2}});
    ask(port(handle, 1, "eth1", {{"delay_mechanism", 1}, {"mixed_mode", 1}}));
    EXPECT_THAT(file(), HasSubstr("slaveOnly 1\n"));
    EXPECT_THAT(file(), HasSubstr("clockClass 255\n"));
    EXPECT_THAT(file(), HasSubstr("tsproc_mode filter_weight\n"));
    EXPECT_THAT(file(), HasSubstr("network_transport UDPv4\ndelay_mechanism P2P\nmasterOnly 0\n"));
    EXPECT_THAT(file(), HasSubstr("hybrid_e2e 1\n"));
    ask_for_clock(0, 0, {{"clk_type", 1}, {"clk_mode", 1}});
    EXPECT_THAT(file(), HasSubstr("masterOnly 1\n"));
    ask(message(handle, "ptp_virtual_port_cfg", {{"clk_handle", 1}, {"clock_quality.clock_class", 6}}));
    EXPECT_THAT(file(), HasSubstr("clockClass 248\n")) << "a time source is believed once it is good, not at start";
    ask(message(handle, "ptp_utc_offset_cmd", {{"utc_offset", 38}}));
    EXPECT_THAT(file(), HasSubstr("utc_offset 38\n"));
}

TEST_F(Render, LetsLocalOptionsAddAndNotContradict) {
    RenderOptions options = software;
    options.interfaces["eth1"] = {{"egressLatency", "20"}};
    ask(example(handle, "g8275_1_boundary_clock.xml"));
    ask(port(handle, 1, "eth1"));
    EXPECT_THAT(check(options), IsEmpty());
    EXPECT_THAT(file(options), HasSubstr("01:80:c2:00:00:0e\negressLatency 20\n"));
    options.global = {{"priority2", "1"}, {"uds_address", "/x\n[eth9]"}, {"[eth9]", "1"}, {"summary_interval", ""}};
    options.interfaces["eth 9"] = {{"masterOnly", "0"}};
    EXPECT_THAT(check(options),
                ElementsAre(HasSubstr("priority2: the control plane decides it"), HasSubstr("uds_address"),
                            HasSubstr("'[eth9]' is no option"), HasSubstr("summary_interval"), HasSubstr("'eth 9'"),
                            HasSubstr("masterOnly")));
}

// ---- plans -----------------------------------------------------------------------------------------------------------

TEST_F(Render, PlansTheSmallestAction) {
    ask(example(handle, "g8275_1_boundary_clock.xml"));
    ask(port(handle, 1, "eth1"));
    const Rendering first = render_ptp4l(clock(), software).rendering;
    EXPECT_EQ(plan(nullptr, first).action, Plan::Action::Restart);
    EXPECT_EQ(to_text(plan(&first, first)), "nothing");

    ask(example(handle, "modify_priority.xml"));
    const Rendering second = render_ptp4l(clock(), software).rendering;
    const Plan set = plan(&first, second);
    EXPECT_EQ(to_text(set), "set\n  [global] priority2: 128 -> 100 (while it runs)");
    EXPECT_EQ(set.settings.priority2, 100);
    EXPECT_EQ(set.settings.priority1, std::nullopt);

    ask(port(handle, 1, "eth1", {{"local_priority", 7}}));
    ask(port(handle, 2, "eth2"));
    const Plan restart = plan(&second, render_ptp4l(clock(), software).rendering);
    EXPECT_EQ(restart.action, Plan::Action::Restart);
    EXPECT_EQ(restart.settings.priority2, 100) << "set again after the restart";
    EXPECT_THAT(to_text(restart), HasSubstr("[eth1] G.8275.portDS.localPriority: 128 -> 7 (restart)"));
    EXPECT_THAT(to_text(restart), HasSubstr("[eth2] added (restart)"));
}

TEST_F(Render, PlansEachMasterOfATable) {
    ask_for_clock(5, 44);
    ask(port(handle, 1, "eth1"));
    ask(unicast_stream(2, "192.0.2.2"));
    const Rendering first = render_ptp4l(clock(), software).rendering;
    ask(unicast_stream(4, "192.0.2.4"));
    EXPECT_EQ(to_text(plan(&first, render_ptp4l(clock(), software).rendering)),
              "restart\n  [unicast_master_table 1] UDPv4 192.0.2.4: added, 192.0.2.4 (restart)");
}

// ---- a real daemon ---------------------------------------------------------------------------------------------------

/** Whether ptp4l still runs a moment after it was started with a file; its log where it does not. */
std::string why_refused(const std::string &path) {
    const std::string log = path + ".log";
    const pid_t daemon = ::fork();
    if (daemon == 0) {
        const std::string command =
            "exec " + still_clock_environment() + " ptp4l -m -q -f " + path + " >" + log + " 2>&1";
        ::execl("/bin/sh", "sh", "-c", ("exec env " + command.substr(5)).c_str(), nullptr);
        ::_exit(127);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    int status = 0;
    if (::waitpid(daemon, &status, WNOHANG) == 0) {
        ::kill(daemon, SIGTERM);
        ::waitpid(daemon, &status, 0);
        return {};
    }
    std::ifstream said(log);
    return {std::istreambuf_iterator<char>(said), {}};
}

TEST_F(Render, IsTakenByARealDaemon) {
    const std::string why = why_no_daemons();
    if (!why.empty()) {
        GTEST_SKIP() << why;
    }
    const TemporaryDirectory folder;
    const Link link("render0", "render1");
    const auto expect_taken = [&](const char *what, Values clock_values, int profile, int domain, Values port_values,
                                  const std::vector<Record> &streams) {
        SCOPED_TRACE(what);
        intent = Intent(handle);
        ask_for_clock(profile, domain, clock_values);
        ask(port(handle, 1, "render0", port_values));
        const auto type = clock().clock().number_or("clk_type", 0);
        if (type == VELA_PTP_CFG_CLK_TYPE_P2P_TRANSPARENT || type == VELA_PTP_CFG_CLK_TYPE_E2E_TRANSPARENT) {
            ask(port(handle, 2, "render1", port_values));  // with one port such a clock has nothing to do
        }
        for (const Record &each : streams) {
            ask(each);
        }
        RenderOptions options = software;
        options.global.emplace_back("uds_address", folder.path() + "/uds");
        const std::string path = folder.path() + "/clock.conf";
        std::ofstream(path) << file(options);
        EXPECT_EQ(why_refused(path), "") << file(options);
    };
    std::vector<Record> none;
    expect_taken("default", {}, 0, 0, {}, none);
    expect_taken("G.8275.1", {}, 4, 24, {{"not_slave", 1}}, none);
    expect_taken("slave-only, jitter", {{"clk_type", 1}, {"clk_mode", 2}, {"network_type", 2}}, 0, 0, {}, none);
    expect_taken("transparent end to end", {{"clk_type", 4}}, 0, 0, {{"encap", 4}}, none);
    expect_taken("transparent peer to peer", {{"clk_type", 3}}, 0, 0, {{"encap", 4}, {"delay_mechanism", 1}}, none);
    expect_taken("IPv6, mixed", {}, 0, 0, {{"encap", 2}, {"mixed_mode", 1}}, none);
    std::vector<Record> masters;
    masters.push_back(unicast_stream(1, "127.0.0.1", {{"unicast_negotiation_duration", 100}}));
    expect_taken("G.8275.2", {}, 5, 44, {{"ucast_neg.enabled", 1}}, masters);
    std::vector<Record> sixth;
    sixth.push_back(unicast_stream(1, "::1"));
    expect_taken("G.8275.2 over IPv6", {}, 5, 44, {{"encap", 2}}, sixth);
    std::vector<Record> ethernet;
    ethernet.push_back(stream(1, {{"unicast", 1}}));
    set_mac(ethernet.back(), "dest_mac_addr", {{2, 0, 0, 0, 0, 1}});
    expect_taken("unicast over Ethernet", {}, 0, 0, {{"encap", 4}}, ethernet);
    const std::string broken = folder.path() + "/broken.conf";
    std::ofstream(broken) << "[global]\nno_such_option 1\n";
    EXPECT_NE(why_refused(broken), "") << "the test sees a refusal";
}

}  // namespace
}  // namespace ptp_agent::test
