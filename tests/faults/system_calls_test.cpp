// The platform while one system call fails, for each call that it makes and each way in which that call may fail. What was
// accepted is there or is reported; what was refused left nothing; an interruption, or a call that did less than it was
// asked for, is noticed by nobody.
#include <bitlog.h>

#include <fstream>

#include "../recorder/recording_files.h"
#include "../transport/channel_end.h"
#include "failing_calls.h"
#include "velalib.h"

namespace test {
namespace {

size_t open_descriptors() {
    const fs::directory_iterator all("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

std::vector<u_int32> numbers_to(u_int32 last) {
    std::vector<u_int32> all;
    for (u_int32 number = 1; number <= last; ++number) {
        all.push_back(number);
    }
    return all;
}

class SystemCalls : public testing::Test {
  protected:
    SystemCalls() {
        char name[] = "/dev/shm/faults_test_XXXXXX";
        EXPECT_NE(mkdtemp(name), nullptr);
        folder = name;
    }
    ~SystemCalls() override { fs::remove_all(folder); }

    std::string path(const char *name) const { return folder + "/" + name; }

    /**
     * Goes through it again and again in an empty folder, with another failure of `act` each time, of which `check` then
     * learns. Neither may leave a descriptor open.
     */
    template <class Prepare, class Act, class Check>
    void with_each_failure(Prepare prepare, Act act, Check check) {
        size_t failures = 0;
        for (unsigned way = 0; way < most_ways; ++way) {
            failed_call failed = {"", "", false};
            for (unsigned number = 1; failed.name != nullptr; ++number) {
                ASSERT_LT(number, 2000u);
                for (const fs::directory_entry &left : fs::directory_iterator(folder)) {
                    fs::remove_all(left);
                }
                const size_t before = open_descriptors();
                prepare();
                fail_call(number, way);
                act();
                failed = stop_failing();
                check(failed);
                EXPECT_EQ(open_descriptors(), before);
                ASSERT_FALSE(HasFailure()) << "call " << number << ", " << (failed.name ? failed.name : "none") << ": "
                                           << (failed.way ? failed.way : "did what it does");
                failures += failed.way != nullptr ? 1 : 0;
            }
        }
        EXPECT_GT(failures, 0u);
        std::cout << failures << " failures\n";
    }

    std::string folder;
};

/** Whether all must have gone well. */
bool is_harmless(const failed_call &failed) { return failed.way == nullptr || failed.is_harmless; }
constexpr auto nothing = [] {};

// ---- recordings ------------------------------------------------------------------------------------------------------

constexpr u_int32 records = 6;
bytes numbered(u_int32 number) { return make_message(static_cast<u_int8>(number), 60 * number); }

struct recorded {
    bool is_open = false;
    std::vector<u_int32> accepted;
};

/** Records numbers from 1 to `records`, in files that turn over. */
recorded record(const std::string &path) {
    vela_recorder_options options = {};
    options.size = sizeof options;
    options.max_file_bytes = VELA_RECORDER_LEAST_FILE;
    options.files = VELA_RECORDER_MOST_FILES;
    char why[256] = "";
    u_int32 err = 0;
    const recorder_ptr recorder(vela_recorder_open(path.c_str(), &options, why, sizeof why, &err));
    EXPECT_EQ(recorder != nullptr, err == 0);
    EXPECT_TRUE(recorder != nullptr || why[0] != 0) << "a failure without a reason";
    recorded result = {recorder != nullptr, {}};
    for (u_int32 number = 1; recorder != nullptr && number <= records; ++number) {
        const bytes content = numbered(number);
        err = 0;
        const u_int32 is_accepted = vela_recorder_append(recorder.get(), number, number, content.data(),
                                                         static_cast<u_int32>(content.size()), &err);
        EXPECT_EQ(is_accepted != 0, err == 0);
        if (is_accepted != 0) {
            result.accepted.push_back(number);
        }
    }
    return result;
}

struct read_records {
    bool is_whole = false;  // nothing was reported
    std::vector<u_int32> found;
};

read_records read_back(const std::string &path) {
    u_int32 err = 0;
    vela_recording *recording = vela_recording_open(path.c_str(), nullptr, 0, &err);
    read_records result = {recording != nullptr, {}};
    vela_recording_item item = {};
    for (u_int32 failures = 0; recording != nullptr && failures < 20;) {
        if (vela_recording_next(recording, &item, &err) != 0) {
            EXPECT_EQ(item.kind, VELA_RECORDING_RECORD) << item.reason;
            EXPECT_EQ(bytes(item.bytes, item.bytes + item.length), numbered(item.source));
            result.found.push_back(item.source);
        } else if (err == 0) {
            break;
        } else {
            result.is_whole = false;
            ++failures;
            err = 0;  // the next call goes on with the next file
        }
    }
    vela_recording_close(recording);
    return result;
}

TEST_F(SystemCalls, OfARecorderLoseNothingThatWasAccepted) {
    recorded did;
    with_each_failure(
        nothing, [&] { did = record(path("faults.rec")); },
        [&](const failed_call &failed) {
            EXPECT_TRUE(!is_harmless(failed) || did.accepted == numbers_to(records));
            if (did.is_open) {
                EXPECT_EQ(read_back(path("faults.rec")).found, did.accepted);
            }
            EXPECT_EQ(record(path("faults.rec")).accepted, numbers_to(records)) << "the next recorder goes on";
        });
}

TEST_F(SystemCalls, OfAReaderOfRecordingsHideNothing) {
    read_records read;
    with_each_failure([&] { record(path("faults.rec")); }, [&] { read = read_back(path("faults.rec")); },
                      [&](const failed_call &failed) {
                          EXPECT_EQ(read.is_whole, read.found == numbers_to(records));
                          EXPECT_TRUE(read.is_whole || !is_harmless(failed));
                      });
}

// ---- channels --------------------------------------------------------------------------------------------------------

constexpr u_int32 sent_messages = 12;

/** What a pair of ends came to. */
struct talk {
    bool is_open = false;
    u_int32 accepted = 0;
    std::vector<bytes> received;
    vela_channel_statistics sender = {}, receiver = {};
};

/** A message of `number`; every fourth is longer than what travels in one packet. */
bytes message(u_int32 number) {
    return make_message(static_cast<u_int8>(number), number % 4 == 0 ? 150'000 : 50 * number);
}

talk talk_over(const std::string &uri) {
    talk result;
    vela_channel_options quick = {};
    quick.reconnect_first_ms = 1;
    quick.reconnect_most_ms = 2;
    channel_end listener(&vela_channel_listen, uri, quick);
    if (listener.channel == nullptr) {
        EXPECT_FALSE(listener.error_text.empty());
        return result;
    }
    channel_end caller(&vela_channel_connect, listener.uri(), quick);
    if (caller.channel == nullptr) {
        EXPECT_FALSE(caller.error_text.empty());
        return result;
    }
    result.is_open = true;
    for (u_int32 number = 1; number <= sent_messages; ++number) {
        result.accepted += caller.send(message(number)) == 0 ? 1 : 0;
        caller.process();
        listener.process();
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    const auto is_settled = [&] {
        const vela_channel_statistics now = caller.statistics();
        return listener.received.size() + now.lost + now.unread >= result.accepted && now.queued == 0;
    };
    while (!is_settled() && std::chrono::steady_clock::now() < end) {
        vela_channel_wait(caller.channel, 1);
        caller.process();
        listener.process();
    }
    result.received = listener.received;
    result.sender = caller.close();
    result.receiver = listener.close();
    return result;
}

/** What was sent arrived in its order and as it was; what did not, was reported. */
void expect_delivered(const talk &did, bool is_all) {
    u_int32 number = 0;
    for (const bytes &received : did.received) {
        for (++number; number <= sent_messages && received != message(number);) {
            ++number;
        }
        EXPECT_LE(number, sent_messages) << "what was received was not sent, or in another order";
    }
    const u_int64 missing = did.accepted - did.received.size();
    EXPECT_LE(missing, did.sender.lost + did.sender.unread + did.receiver.dropped);
    if (is_all) {
        EXPECT_TRUE(did.is_open);
        EXPECT_EQ(did.received.size(), sent_messages);
        EXPECT_EQ(did.sender.disconnects, 0u);
    }
}

TEST_F(SystemCalls, OfUnixChannelsLoseNothingSilently) {
    talk did;
    with_each_failure(
        nothing, [&] { did = talk_over("unix:" + path("socket")); },
        [&](const failed_call &failed) {
            expect_delivered(did, is_harmless(failed));
            EXPECT_FALSE(fs::exists(path("socket")));
        });
}

TEST_F(SystemCalls, OfTcpChannelsLoseNothingSilently) {
    talk did;
    with_each_failure(
        nothing, [&] { did = talk_over("tcp:127.0.0.1:0"); },
        [&](const failed_call &failed) { expect_delivered(did, is_harmless(failed)); });
}

// ---- shared types, rings, domains ------------------------------------------------------------------------------------

struct shared_use {
    u_int32 err = 0;
    std::string why;
};

/** Makes, opens or reads a file of shared types, and a handle over it. */
shared_use use_shared_types(const std::string &path, bool is_new) {
    shared_use result;
    char why[200] = "";
    vela_shared_types *types = is_new ? vela_shared_types_create(path.c_str(), reinterpret_cast<void *>(0x7ea000000000),
                                                                 1 << 17, &result.err, why, sizeof why)
                                      : vela_shared_types_open(path.c_str(), nullptr, &result.err, why, sizeof why);
    EXPECT_EQ(types != nullptr, result.err == 0);
    result.why = why;
    vela_handle_options options = {};
    options.size = sizeof options;
    options.shared_types = types;
    vela_handle_destroy(types != nullptr ? vela_handle_create(&options, &result.err) : nullptr, nullptr);
    vela_shared_types_close(types);
    return result;
}

TEST_F(SystemCalls, OfSharedTypesLeaveNothingHalfMade) {
    shared_use made;
    with_each_failure(
        nothing, [&] { made = use_shared_types(path("types"), true); },
        [&](const failed_call &failed) {
            EXPECT_TRUE(made.err == 0 || !is_harmless(failed)) << made.err << " " << made.why;
            EXPECT_TRUE(made.err == 0 || !made.why.empty());
            EXPECT_EQ(fs::exists(path("types")), made.err == 0);
        });
    with_each_failure([&] { use_shared_types(path("types"), true); },
                      [&] { made = use_shared_types(path("types"), false); },
                      [&](const failed_call &failed) {
                          EXPECT_TRUE(made.err == 0 || !is_harmless(failed)) << made.err << " " << made.why;
                          EXPECT_EQ(use_shared_types(path("types"), false).err, 0u) << "the next process opens it";
                      });
}

constexpr bitlog_trace_points points = {"faults", 64, 64};

/** Opens a ring and traces into it. */
u_int32 trace_into(const std::string &path) {
    const u_int32 err = bitlog_ring_open(path.c_str(), 16);
    __BLf_4(&points, 64, 0, BITLOG_DEBUG, 4711);
    bitlog_ring_close();
    return err;
}

/** How many records a ring has. */
u_int32 traced_in(const std::string &path, u_int32 &err) {
    bitlog_reader *reader = nullptr;
    char why[200] = "";
    err = bitlog_reader_open(path.c_str(), &reader, why, sizeof why);
    EXPECT_EQ(err != 0, why[0] != 0);
    bitlog_entry entry = {};
    u_int32 count = 0;
    while (reader != nullptr && bitlog_reader_next(reader, &entry, 0) != 0) {
        ++count;
    }
    bitlog_reader_close(reader);
    return count;
}

TEST_F(SystemCalls, OfRingsAreErrorsOfTheirCalls) {
    bitlog_set_sink([](void *, const bitlog_record *) {}, nullptr);
    u_int32 err = 0, count = 0;
    with_each_failure(
        nothing, [&] { err = trace_into(path("ring")); },
        [&](const failed_call &failed) {
            EXPECT_TRUE(err == 0 || !is_harmless(failed)) << err;
            u_int32 unread = 0;
            EXPECT_TRUE(err != 0 || traced_in(path("ring"), unread) == 1);
            EXPECT_EQ(trace_into(path("ring")), 0u) << "the next process has a ring";
        });
    with_each_failure([&] { trace_into(path("ring")); }, [&] { count = traced_in(path("ring"), err); },
                      [&](const failed_call &failed) {
                          EXPECT_TRUE(count == 1 || !is_harmless(failed)) << err;
                          EXPECT_TRUE(count == 0 || err == 0);
                      });
    bitlog_set_sink(nullptr, nullptr);
}

TEST_F(SystemCalls, OfDomainFilesAreErrorsWithAReason) {
    u_int32 err = 0;
    char why[200] = "";
    with_each_failure([&] { std::ofstream(path("domain")) << "name = 'first release'\n"; },
                      [&] {
                          err = 0;
                          why[0] = 0;
                          vela_domain_destroy(vela_domain_load(path("domain").c_str(), why, sizeof why, &err));
                      },
                      [&](const failed_call &failed) {
                          EXPECT_TRUE(err == 0 || !is_harmless(failed)) << err;
                          EXPECT_EQ(err != 0, why[0] != 0);
                      });
}

}  // namespace
}  // namespace test
