// The agent's configuration file: the sample that is installed is right, and mistakes are named with their place.
#include "agent/serve/configuration.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

namespace ptp_agent {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

std::string mistake(const std::string &text) {
    try {
        parse_configuration(text, "agent.toml");
    } catch (const ConfigurationError &error) {
        return error.what();
    }
    return "none";
}

TEST(Configuration, TheSampleSaysTheDefaults) {
    std::ifstream file(SAMPLE_CONFIGURATION);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const AgentConfiguration sample = parse_configuration(text, SAMPLE_CONFIGURATION);
    const AgentConfiguration defaults = parse_configuration("", "empty");
    EXPECT_EQ(sample.runtime_directory, defaults.runtime_directory);
    EXPECT_EQ(sample.state_directory, defaults.state_directory);
    EXPECT_EQ(sample.daemon.executable, defaults.daemon.executable);
    EXPECT_EQ(sample.daemon.arguments, defaults.daemon.arguments);
    EXPECT_EQ(sample.poll_ms, defaults.poll_ms);
    EXPECT_EQ(sample.full_report_s, defaults.full_report_s);
    EXPECT_EQ(sample.listens_for_announce, defaults.listens_for_announce);
    EXPECT_EQ(sample.status_socket, defaults.status_socket);
    EXPECT_EQ(sample.status_mode, defaults.status_mode);
    EXPECT_EQ(sample.holdover.lock_bound_ns, defaults.holdover.lock_bound_ns);
    EXPECT_EQ(sample.holdover.specification_ns, defaults.holdover.specification_ns);
    EXPECT_EQ(sample.control_planes.size(), 1u);
    EXPECT_FALSE(sample.serves_notifications);
}

TEST(Configuration, TakesOptionsOfTheDaemonAndOfItsInterfaces) {
    const AgentConfiguration found = parse_configuration(
        "[daemon.options]\ntime_stamping = \"software\"\n"
        "[daemon.interfaces.eth0]\ndelayAsymmetry = 12\n",
        "agent.toml");
    EXPECT_THAT(found.daemon.options.global, ElementsAre(Pair("time_stamping", "software")));
    EXPECT_THAT(found.daemon.options.interfaces, ElementsAre(Pair("eth0", ElementsAre(Pair("delayAsymmetry", "12")))));
}

TEST(Configuration, NamesMistakesWithTheirPlace) {
    EXPECT_THAT(mistake("[observation]\npoll_ms = 100\npol_ms = 200\n"),
                AllOf(HasSubstr("agent.toml:3"), HasSubstr("pol_ms")));
    EXPECT_THAT(mistake("[observation]\npoll_ms = \"often\"\n"), AllOf(HasSubstr(":2"), HasSubstr("poll_ms")));
    EXPECT_THAT(mistake("[observation]\npoll_ms = 1\n"), AllOf(HasSubstr("poll_ms"), HasSubstr("50")));
    EXPECT_THAT(mistake("[[control_plane]]\ndomain = \"gabel\"\n"), AllOf(HasSubstr(":2"), HasSubstr("gable")));
    EXPECT_THAT(mistake("[[control_plane]]\ndomain = \"gable\"\n"), HasSubstr("listen or connect"));
    EXPECT_THAT(mistake("[daemon]\nsupervision = \"external\"\n"), HasSubstr("daemon.socket"));
    EXPECT_THAT(mistake("[status]\nmode = \"999\"\n"), HasSubstr("mode"));
    EXPECT_THAT(mistake("[daemon\n"), HasSubstr("agent.toml:1"));
}

TEST(Configuration, RefusesOptionsThatMessagesDecideOrThatBreakALine) {
    EXPECT_THAT(mistake("[daemon.options]\ndomainNumber = 3\n"), HasSubstr("domainNumber"));
    EXPECT_THAT(mistake("[daemon.options]\nlogging_level = \"6\\n[eth9]\"\n"), HasSubstr("logging_level"));
    EXPECT_THAT(mistake("[daemon.interfaces.\"eth0]\\nx\"]\ndelayAsymmetry = 1\n"), HasSubstr("eth0"));
}

}  // namespace
}  // namespace ptp_agent
