// The agent as a program, with real daemons: configured by messages, killed at any moment, and always back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "base/file_descriptor.h"
#include "ptp_cfg/data_sets.h"
#include "ptp_cfg/messages.h"
#include "support/agent_process.h"
#include "support/network.h"
#include "support/ptp4l_process.h"
#include "support/surroundings.h"

namespace ptp_agent {
namespace {

using nlohmann::json;
using test::AgentProcess;
using test::ControlPlanePeer;
using test::TestClock;

class Program : public testing::Test {
  protected:
    void SetUp() override {
        const std::string why_not = test::why_no_daemons();
        if (!why_not.empty()) {
            GTEST_SKIP() << why_not;
        }
        link_ = std::make_unique<test::Link>("gm0", "sl0");
        master_ = std::make_unique<AgentProcess>(directory_.path(), "master");
        slave_ = std::make_unique<AgentProcess>(directory_.path(), "slave");
    }

    static bool has_port_state(const json &clock, const char *state) {
        return !clock["ports"].empty() && clock["ports"][0].value("state", "") == state;
    }
    static bool is_slave(const json &clock) { return has_port_state(clock, "SLAVE"); }

    /** Both started and configured, until the slave follows the master. */
    void bring_up() {
        ASSERT_TRUE(master_->start()) << master_->log();
        ASSERT_TRUE(slave_->start()) << slave_->log();
        ControlPlanePeer one(master_->control_uri()), other(slave_->control_uri());
        TestClock clock;
        clock.priority1 = 10;
        clock.interfaces = {"gm0"};
        test::configure(one, clock);
        clock.priority1 = 128;
        clock.identity = 2;
        clock.slave_only = true;
        clock.interfaces = {"sl0"};
        test::configure(other, clock);
        one.receive_for(300);
        other.receive_for(300);
        ASSERT_TRUE(slave_->wait_for(is_slave)) << slave_->log() << slave_->status().dump(1) << master_->log();
    }

    static Record transparent_clock(ControlPlanePeer &peer) {
        return peer.message("ptp_clock_cfg", {{"modify", 0},
                                              {"clk_version", VELA_PTP_VERSION_2},
                                              {"clk_profile", VELA_PTP_PROFILE_DEFAULT},
                                              {"default_data_set.clock_quality.clock_class", 248},
                                              {"default_data_set.clock_quality.offset_scaled_log_var", -1},
                                              {"default_data_set.numberPorts", 1},
                                              {"default_data_set.priority1", 128},
                                              {"default_data_set.priority2", 128},
                                              {"default_data_set.two_step_flag", 1},
                                              {"default_data_set.local_priority", 128},
                                              {"time_properties.currentUtcOffset", 37},
                                              {"revertive_bmca", 1},
                                              {"clock_handle", 1},
                                              {"clk_type", VELA_PTP_CFG_CLK_TYPE_E2E_TRANSPARENT}});
    }

    /** What ptpcfg says to standard output. */
    static std::string tool(const std::string &arguments) {
        const std::string path = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "ptpcfg";
        const std::unique_ptr<FILE, int (*)(FILE *)> pipe(popen((path + " " + arguments).c_str(), "r"), pclose);
        std::string text;
        char part[4096];
        for (std::size_t count; (count = std::fread(part, 1, sizeof part, pipe.get())) > 0;) {
            text.append(part, count);
        }
        return text;
    }

    /** What no end of the transport would send. */
    static void send_garbage(const std::string &path, unsigned packets) {
        const base::file_descriptor made(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        ASSERT_EQ(connect(made.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        for (unsigned i = 0; i < packets; ++i) {
            const std::vector<std::uint8_t> bytes(1 + i * 7 % 900, static_cast<std::uint8_t>(i));
            if (::send(made.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0) {
                return;  // the agent has had enough of it
            }
        }
    }

    static bool is_alive(pid_t process) {
        std::ifstream file("/proc/" + std::to_string(process) + "/stat");
        std::string line;
        std::getline(file, line);
        return !line.empty() && line.find(") Z") == std::string::npos;
    }

    test::TemporaryDirectory directory_;
    std::unique_ptr<test::Link> link_;
    std::unique_ptr<AgentProcess> master_, slave_;
};

TEST_F(Program, ConfiguresRealDaemonsAndReportsWhatTheyDo) {
    bring_up();
    ControlPlanePeer peer(slave_->control_uri());
    EXPECT_TRUE(peer.receive_until([](const Record &record) {
        return record.name() == "ptp_clk_parent_ds_msg" && record.number("grandmaster_priority1") == 10;
    })) << "who connects is told everything";
    EXPECT_TRUE(peer.receive_until([](const Record &record) { return record.name() == "ptp_clk_current_ds_msg"; }))
        << "the offset is reported as it changes";
    std::set<std::string> names;
    for (const Record &record : peer.received()) {
        names.emplace(record.name());
    }
    for (const char *name :
         {"ptp_ptpd_kerd_reg_msg", "ptp_clk_data_set", "ptp_clk_default_ds_msg", "ptp_clk_time_properties_ds_msg",
          "ptp_clk_local_time_properties_ds_msg", "ptp_clock_runtime_state_msg", "ptp_port_runtime_state_msg",
          "ptp_stream_runtime_state_msg", "ptp_bmca_data_msg", "ptp_foreign_master_record_msg",
          "ptp_current_master_details", "ptp_ip_streams_list_msg"}) {
        EXPECT_TRUE(names.contains(name)) << name;
    }
}

TEST_F(Program, SetsWhatIsSettableWithoutARestart) {
    bring_up();
    ControlPlanePeer peer(master_->control_uri());
    const pid_t before = master_->daemon();
    peer.send(peer.message("ptp_clock_modify_cmd", {{"clock_id", 1},
                                                    {"priority1", 10},
                                                    {"priority2", 33},
                                                    {"clock_quality.clock_class", 248},
                                                    {"clock_quality.offset_scaled_log_var", -1},
                                                    {"local_priority", 128}}));
    peer.receive_for(100);
    EXPECT_TRUE(slave_->wait_for([](const json &clock) {
        return clock["data_sets"].value("/parent/grandmaster_priority2"_json_pointer, 0) == 33;
    })) << master_->log();
    EXPECT_EQ(master_->daemon(), before);
}

TEST_F(Program, IsBackInTheSameStateWhoeverIsKilled) {
    bring_up();
    ControlPlanePeer peer(master_->control_uri());
    peer.send(peer.message("ptp_clock_modify_cmd", {{"clock_id", 1},
                                                    {"priority1", 10},
                                                    {"priority2", 33},
                                                    {"clock_quality.clock_class", 248},
                                                    {"clock_quality.offset_scaled_log_var", -1},
                                                    {"local_priority", 128}}));
    peer.receive_for(300);
    const auto follows = [](const json &clock) {
        return is_slave(clock) && clock["data_sets"].value("/parent/grandmaster_priority2"_json_pointer, 0) == 33;
    };
    ASSERT_TRUE(slave_->wait_for(follows));
    for (AgentProcess *victim : {slave_.get(), master_.get()}) {
        const pid_t daemon = victim->daemon();
        ASSERT_GT(daemon, 0);
        kill(daemon, SIGKILL);
        EXPECT_TRUE(victim->wait_for([&](const json &clock) {
            return clock["process"]["id"] != daemon && clock["process"]["id"] != 0 && clock["answers"];
        })) << victim->log();
        EXPECT_TRUE(slave_->wait_for(follows)) << victim->log();
        const pid_t second = victim->daemon();
        victim->end(SIGKILL);
        for (int i = 0; i < 100 && is_alive(second); ++i) {
            usleep(10'000);
        }
        EXPECT_FALSE(is_alive(second)) << "an orphan would hold the port";
        ASSERT_TRUE(victim->start()) << victim->log();
        EXPECT_TRUE(slave_->wait_for(follows)) << victim->log();
    }
    EXPECT_EQ(slave_->end(SIGTERM), 0);
    EXPECT_EQ(master_->end(SIGTERM), 0);
}

TEST_F(Program, RefusesAConfigurationThatTheDaemonDoesNotRunWith) {
    bring_up();
    ControlPlanePeer peer(slave_->control_uri());
    const std::string before = slave_->ask("config");
    // A transparent clock needs two interfaces.
    peer.send(transparent_clock(peer));
    peer.receive_for(100);
    EXPECT_TRUE(slave_->wait_for([&](const json &) {
        const json status = slave_->status();
        return status["last_refusal"] != "" && !status["applying"];
    }));
    EXPECT_THAT(slave_->status()["last_refusal"].get<std::string>(), testing::HasSubstr("ended with status"));
    EXPECT_TRUE(slave_->wait_for(is_slave)) << slave_->log();
    EXPECT_EQ(json::parse(slave_->ask("config"))["messages"], json::parse(before)["messages"]);
    EXPECT_EQ(json::parse(slave_->ask("config"))["daemons"], json::parse(before)["daemons"]);
}

TEST_F(Program, TakesAFloodAndEndsWithTheLastOfIt) {
    bring_up();
    ControlPlanePeer peer(master_->control_uri());
    for (int i = 0; i < 3000; ++i) {
        peer.send(peer.message("ptp_clock_modify_cmd", {{"clock_id", 1},
                                                        {"priority1", 10},
                                                        {"priority2", i == 2999 ? 77 : i % 50},
                                                        {"clock_quality.clock_class", 248},
                                                        {"clock_quality.offset_scaled_log_var", -1},
                                                        {"local_priority", 128}}));
    }
    send_garbage(master_->folder() + "/control.sock", 200);
    peer.receive_for(300);
    EXPECT_TRUE(slave_->wait_for([](const json &clock) {
        return clock["data_sets"].value("/parent/grandmaster_priority2"_json_pointer, 0) == 77;
    })) << master_->status().dump(1);
    EXPECT_EQ(master_->status()["messages"]["ptp_clock_modify_cmd"]["applied"], 3000);
    EXPECT_TRUE(is_slave(slave_->clock()));
}

TEST_F(Program, SaysThatADaemonHangsAndGoesOnWhenItDoes) {
    bring_up();
    const pid_t daemon = slave_->daemon();
    kill(daemon, SIGSTOP);
    EXPECT_TRUE(slave_->wait_for([](const json &clock) { return !clock["answers"]; }));
    kill(daemon, SIGCONT);
    EXPECT_TRUE(slave_->wait_for(is_slave));
    EXPECT_EQ(slave_->daemon(), daemon);
}

TEST_F(Program, FollowsALinkThatGoesAndComes) {
    bring_up();
    link_->set_up(false);
    EXPECT_TRUE(slave_->wait_for([](const json &clock) { return !is_slave(clock); })) << slave_->log();
    link_->set_up(true);
    EXPECT_TRUE(slave_->wait_for(is_slave, 25'000)) << slave_->log();
}

TEST_F(Program, OutlivesTheLossOfAnInterfaceAndItsNewName) {
    bring_up();
    ASSERT_EQ(test::run({"ip", "link", "set", "sl0", "down"}), 0);
    ASSERT_EQ(test::run({"ip", "link", "set", "sl0", "name", "renamed0"}), 0);
    EXPECT_TRUE(slave_->wait_for([](const json &clock) { return !is_slave(clock); })) << slave_->log();
    ASSERT_EQ(test::run({"ip", "link", "set", "renamed0", "name", "sl0"}), 0);
    link_->set_up(true);
    EXPECT_TRUE(slave_->wait_for(is_slave, 25'000)) << slave_->log();
    // Another interface of the same name.
    link_.reset();
    EXPECT_TRUE(slave_->wait_for([](const json &clock) { return !is_slave(clock); })) << slave_->log();
    link_ = std::make_unique<test::Link>("gm0", "sl0");
    EXPECT_EQ(slave_->status()["clocks"].size(), 1u);
    EXPECT_FALSE(slave_->ask("metrics").empty());
}

TEST_F(Program, TellsEachControlPlaneWhatIsTrueWhenItConnects) {
    bring_up();
    {
        ControlPlanePeer gone(slave_->control_uri());
        gone.receive_for(200);
    }
    slave_->end(SIGKILL);
    ASSERT_TRUE(slave_->start());
    ControlPlanePeer peer(slave_->control_uri());
    EXPECT_TRUE(peer.receive_until([](const Record &record) { return record.name() == "ptp_port_data_set_info"; }));
    for (const Record &record : peer.received()) {
        if (record.name() == "ptp_port_data_set_info") {
            auto *data_set = ptp_port_data_set_info_message_ptp_port_data_set_get(
                record.handle(), 0, static_cast<ptp_port_data_set_info_message *>(record.message()), &peer.err);
            EXPECT_NE(ptp_port_data_set_port_state_get_value(record.handle(), 0, data_set, &peer.err),
                      u_int32{VELA_PTP_PORT_STATE_SLAVE})
                << "the daemon was just started: nothing of before is told";
        }
    }
}

TEST_F(Program, AllowsOneAgentForARuntimeDirectory) {
    ASSERT_TRUE(slave_->start());
    AgentProcess second(directory_.path(), "slave");
    const pid_t process = slave_->process();
    second.start();  // the first answers the question
    EXPECT_EQ(second.end(0), 1);
    EXPECT_THAT(second.log(), testing::HasSubstr("another ptp_agent (process " + std::to_string(process) + ")"));
    EXPECT_FALSE(slave_->ask("status").empty());
}

TEST_F(Program, AnswersQuestionsAndOutlivesBadOnes) {
    ASSERT_TRUE(slave_->start());
    for (const char *question :
         {"", "nonsense", "plan", "plan 99999999999999999999", "plan -1", "GET / HTTP/1.0\r\n\r"}) {
        EXPECT_FALSE(slave_->ask(question).empty()) << question;
    }
    EXPECT_THAT(slave_->ask("GET /metrics HTTP/1.0\r\n\r"), testing::HasSubstr("200 OK"));
    EXPECT_THAT(slave_->ask("plan 0"), testing::HasSubstr("decoded"));
    EXPECT_TRUE(json::parse(slave_->ask("events"))[0].contains("text"));
    EXPECT_TRUE(json::parse(slave_->ask("config"))["messages"].empty());
    EXPECT_THAT(slave_->ask("metrics"), testing::HasSubstr("# TYPE ptp_agent_clock_state gauge"));
}

TEST_F(Program, IsAskedByTheTool) {
    bring_up();
    const std::string socket = " --socket " + slave_->folder() + "/run/status.sock ";
    EXPECT_THAT(tool("agent status" + socket), testing::AllOf(testing::HasSubstr("port 1 sl0: SLAVE"),
                                                              testing::HasSubstr("ptp_clock_cfg: 1 applied")));
    EXPECT_TRUE(json::parse(tool("agent status --json" + socket)).contains("behaviour"));
    EXPECT_THAT(tool("agent events" + socket), testing::HasSubstr("port 1 (sl0): SLAVE"));
    EXPECT_THAT(tool("agent config" + socket), testing::HasSubstr("logSyncInterval -4"));
    EXPECT_THAT(tool("agent metrics" + socket), testing::HasSubstr("ptp_agent_port_state{clock=\"1\",port=\"1\""));
    const pid_t daemon = slave_->daemon();
    const std::string file = slave_->folder() + "/port.xml";
    std::ofstream(file) << "<ptp_port_cfg><ptp_port><modify>false</modify><encap><VELA_PTP_CFG_PORT_ENCAP_ETH/></encap>"
                           "<clk_handle>1</clk_handle><port_num>1</port_num><ptp_version><VELA_PTP_VERSION_2/>"
                           "</ptp_version><not_slave>true</not_slave><local_priority>128</local_priority>"
                           "<port_name>sl0</port_name></ptp_port></ptp_port_cfg>";
    const std::string plan = tool("agent plan" + socket + file);
    EXPECT_THAT(plan, testing::AllOf(testing::HasSubstr("[sl0] masterOnly: 0 -> 1 (restart)"))) << plan;
    usleep(200'000);
    EXPECT_EQ(slave_->daemon(), daemon) << "a plan changes nothing";
    EXPECT_TRUE(is_slave(slave_->clock()));
}

TEST_F(Program, DeletesAClockAndItsDaemon) {
    bring_up();
    const pid_t daemon = slave_->daemon();
    ControlPlanePeer peer(slave_->control_uri());
    peer.send(peer.message("ptp_clock_delete_cmd", {{"clock_id", 1}}));
    peer.receive_for(500);
    for (int i = 0; i < 200 && is_alive(daemon); ++i) {
        usleep(10'000);
    }
    EXPECT_FALSE(is_alive(daemon));
    EXPECT_TRUE(slave_->status()["clocks"].empty());
}

}  // namespace
}  // namespace ptp_agent
