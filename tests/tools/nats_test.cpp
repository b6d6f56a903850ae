// ptpcfg over the subjects of a real NATS server.
#include "../transport/nats/nats_server.h"

#include <gmock/gmock.h>

#include "shell.h"

using testing::HasSubstr;

namespace {

class nats : public shell_test {
  protected:
    void SetUp() override {
        shell_test::SetUp();
        if (!test::nats_server::is_installed()) {
            GTEST_SKIP() << "nats-server is not installed";
        }
    }
};

TEST_F(nats, what_is_sent_is_kept_by_its_name_and_listened_to_by_another) {
    test::nats_server server;
    const test::stream kept(server, "ptp.>");
    const outcome result =
        sh("ptpcfg send '" + server.uri("ptp.tower.0.{message}") +
           "' $CLOCKS/g8275_1_boundary_clock.xml $CLOCKS/delete_clock.xml && "
           "ptpcfg listen '" +
           server.uri("ptp.>?durable=page") +
           "' --count 2 --timeout 20 --to bin -o got.bin && "
           "for clock in g8275_1_boundary_clock delete_clock; do ptpcfg encode $CLOCKS/$clock.xml; done "
           "| cmp - got.bin && "
           "ptpcfg listen '" +
           server.uri("ptp.>?durable=page") + "' --timeout 1");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "") << "what one listener has taken does not come again";
    const auto entries = kept.entries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].subject, "ptp.tower.0.ptp_clock_cfg");
    EXPECT_EQ(entries[1].subject, "ptp.tower.0.ptp_clock_delete_cmd");
    EXPECT_EQ(entries[1].role, "command");
}

TEST_F(nats, a_server_that_is_not_there_or_takes_nothing_is_named) {
    test::nats_server server;
    const outcome nobody =
        sh("ptpcfg send --timeout 0.5 " + server.uri("nobody.listens") + " $CLOCKS/delete_clock.xml");
    EXPECT_EQ(nobody.status, 4);
    EXPECT_THAT(nobody.err, HasSubstr("no stream of the server takes the subject"));
    server.kill_hard();
    const outcome gone = sh("ptpcfg send --timeout 0.5 " + server.uri("ptp.x") + " $CLOCKS/delete_clock.xml");
    EXPECT_EQ(gone.status, 4);
    EXPECT_THAT(gone.err, HasSubstr("nobody listens there: no connection to " + server.address()));
    EXPECT_EQ(sh("ptpcfg listen nats://127.0.0.1/x").status, 2);
}

}  // namespace
