// One ring that sixteen threads trace into, while levels change and others read.
#include <array>
#include <atomic>
#include <barrier>
#include <thread>

#include "bitlog.h"
#include "ptp_cfg/clock.h"
#include "recording_handle.h"

namespace ptp_cfg_test {
namespace {

constexpr u_int32 thread_count = 16;
constexpr u_int32 per_thread = 1000;
const bitlog_trace_points points = {"a test", 0xF0000000, 0xF0000000};

void ignore(void *, const bitlog_record *) {}

class ring_in_threads : public testing::Test {
  protected:
    void SetUp() override {
        bitlog_set_sink(ignore, nullptr);
        ASSERT_EQ(bitlog_ring_open(nullptr, 1 << 16), 0u);
    }
    void TearDown() override {
        bitlog_ring_close();
        bitlog_set_sink(nullptr, nullptr);
        bitlog_set_level(BITLOG_DEBUG);
    }
    /** Reads what is there, noting the next number of each thread; all others must be whole. */
    static u_int32 read(std::array<u_int32, thread_count> &next, u_int32 &of_library, u_int32 patience_ms) {
        bitlog_reader *reader = nullptr;
        EXPECT_EQ(bitlog_reader_open(nullptr, &reader, nullptr, 0), 0u);
        bitlog_entry entry;
        u_int32 lost = 0;
        next = {};
        of_library = 0;
        while (bitlog_reader_next(reader, &entry, patience_ms) != 0) {
            lost += static_cast<u_int32>(entry.lost_before);
            if (entry.record.argument_count != 3) {
                of_library += 1;
                continue;
            }
            const u_int32 thread = entry.record.argument[0].number;
            EXPECT_LT(thread, thread_count);
            EXPECT_EQ(entry.record.argument[1].number, next[thread % thread_count]++) << "in the order of the thread";
            EXPECT_EQ(entry.record.argument[2].number, ~entry.record.argument[1].number);
        }
        bitlog_reader_close(reader);
        return lost;
    }
};

TEST_F(ring_in_threads, nothing_is_lost_or_mixed_while_it_fits) {
    std::barrier<> together(thread_count + 1);
    std::vector<std::thread> threads;
    for (u_int32 thread = 0; thread < thread_count; ++thread) {
        threads.emplace_back([&, thread] {
            together.arrive_and_wait();
            for (u_int32 i = 0; i < per_thread; ++i) {
                __BLf_444(&points, 1, 0, BITLOG_ERROR, thread, i, ~i);
                ptp_clock_quality_set_instance_embedded(nullptr, 0, nullptr);  // which the library traces
            }
        });
    }
    together.arrive_and_wait();
    std::array<u_int32, thread_count> next{};
    u_int32 of_library = 0;
    for (int i = 0; i < 20; ++i) {
        bitlog_set_level(i % 2 == 0 ? u_int32{BITLOG_DEBUG} : u_int32{BITLOG_ERROR});
        bitlog_set_module_level("vela_ptp_cfg", BITLOG_DEBUG);
        EXPECT_EQ(read(next, of_library, 5000), 0u);
    }
    for (std::thread &each : threads) {
        each.join();
    }
    EXPECT_EQ(read(next, of_library, 0), 0u);
    EXPECT_EQ(of_library, thread_count * per_thread);
    for (const u_int32 count : next) {
        EXPECT_EQ(count, per_thread);
    }
}

}  // namespace
}  // namespace ptp_cfg_test
