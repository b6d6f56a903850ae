// ptp_fleet simulate: the messages of the schema, in a recording and in a stream.
#include <gmock/gmock.h>

#include <set>

#include "../transport/nats/nats_server.h"
#include "ptp_cfg/receive.h"
#include "vela_recorder.h"

namespace {

int run(const std::string &arguments) { return WEXITSTATUS(std::system((PTP_FLEET " simulate " + arguments).c_str())); }

struct content {
    std::map<std::string, int> messages;
    std::set<u_int32> elements;
    int not_understood = 0;
};

content read(const std::string &file) {
    content result;
    u_int32 err = 0;
    vela_handle *handle = vela_handle_create(nullptr, &err);
    vela_recording *recording = vela_recording_open(file.c_str(), nullptr, 0, &err);
    vela_recording_item item;
    while (recording != nullptr && vela_recording_next(recording, &item, &err) != 0) {
        const ptp_cfg_type *type = nullptr;
        void *message = ptp_cfg_receive(handle, 0, &type, item.bytes, item.length, nullptr, &err);
        result.not_understood += message == nullptr ? 1 : 0;
        if (message != nullptr) {
            ptp_cfg_type_description description = {};
            ptp_cfg_type_describe(type, &description);
            ++result.messages[description.short_name];
            result.elements.insert(item.source);
            ptp_cfg_message_destroy(handle, 0, type, message);
        }
        err = 0;
    }
    vela_recording_close(recording);
    vela_handle_destroy(handle, nullptr);
    return result;
}

std::string bytes_of(const std::string &file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(Simulate, RecordsMessagesThatTheLibraryReadsTheSameForTheSameSeed) {
    const test::scratch_folder folder;
    std::ofstream(folder.path + "/faults.toml")
        << "[[fault]]\nkind = \"clock_step\"\nstep_ns = 5e6\nat = 60\nelement = 9\n"
           "[[fault]]\nkind = \"link_cut\"\nlink = \"both\"\nat = 70\nelement = 19\n"
           "[[fault]]\nkind = \"silent\"\nat = 0\nelement = 5\n";
    const std::string common = "--elements 20 --seconds 100 --speed 0 --start 1000000000 --script " + folder.path +
                               "/faults.toml --record " + folder.path;
    ASSERT_EQ(run(common + "/one.rec >/dev/null"), 0);
    ASSERT_EQ(run(common + "/two.rec >/dev/null"), 0);
    EXPECT_EQ(bytes_of(folder.path + "/one.rec"), bytes_of(folder.path + "/two.rec"));
    const content found = read(folder.path + "/one.rec");
    EXPECT_EQ(found.not_understood, 0);
    EXPECT_EQ(found.messages.at("ptp_clk_current_ds_msg"), 19 * 100) << "one a second of each that is not silent";
    EXPECT_EQ(found.messages.at("ptp_step_time_event"), 1);
    EXPECT_GE(found.messages.at("ptp_current_selected_master_event"), 1);
    EXPECT_GE(found.messages.at("ptp_clock_runtime_state_msg"), 19);
    EXPECT_EQ(found.elements.count(5), 0u);
    EXPECT_EQ(found.elements.size(), 19u);
}

TEST(Simulate, PublishesEachElementOnItsSubjectAndLosesNothingWhenTheServerIsKilled) {
    if (!test::nats_server::is_installed()) {
        GTEST_SKIP() << "nats-server is not installed";
    }
    test::nats_server server;
    const auto before = std::make_unique<test::stream>(server, "ptp.>");
    const test::scratch_folder folder;
    std::thread breaker([&] {
        EXPECT_TRUE(test::wait_until([&] { return before->count() > 300; }));
        server.kill_hard();
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        server.start();
    });
    const int status =
        run("--elements 50 --seconds 60 --speed 10 --to " + server.uri("ptp") + " >" + folder.path + "/out");
    breaker.join();
    ASSERT_EQ(status, 0);
    const test::stream after(server, "ptp.>");
    const auto ids = after.ids();
    EXPECT_EQ(std::to_string(ids.size()) + " reports\n", bytes_of(folder.path + "/out"));
    std::set<std::string> elements;
    for (const auto &each : after.entries()) {
        elements.insert(each.subject.substr(0, each.subject.rfind('.')));
    }
    EXPECT_EQ(elements.size(), 50u);
    EXPECT_EQ(elements.count("ptp.sim49.0"), 1u);
    EXPECT_EQ(after.count(), ids.size()) << "an id came twice";
}

TEST(Prepare, MakesTheStreamAndChangesTheOneThatIsThere) {
    if (!test::nats_server::is_installed()) {
        GTEST_SKIP() << "nats-server is not installed";
    }
    test::nats_server server;
    const std::string prepare = PTP_FLEET " prepare " + server.uri("ptp");
    EXPECT_EQ(std::system((prepare + " --max-bytes 100M").c_str()), 0);
    EXPECT_EQ(run("--elements 3 --seconds 5 --speed 0 --to " + server.uri("ptp") + " >/dev/null"), 0);
    EXPECT_EQ(std::system((prepare + " --max-bytes 200M --duplicate-minutes 1").c_str()), 0);
    const test::stream after(server, "ptp.>", "PTP");
    EXPECT_GE(after.count(), 15u) << "what it has stays";
    EXPECT_NE(std::system((prepare + " --replicas 3 2>/dev/null").c_str()), 0) << "one server keeps no three copies";
}

TEST(Simulate, SaysWhatItMissesOrDoesNotUnderstand) {
    EXPECT_NE(run("2>/dev/null"), 0);
    EXPECT_NE(run("--to nats://nowhere 2>/dev/null"), 0);
    EXPECT_NE(run("--elements 0 --record /dev/null 2>/dev/null"), 0);
}

}  // namespace
