// Counters that all threads of a process move.
#include <atomic>
#include <barrier>
#include <thread>

#if __has_include(<valgrind/valgrind.h>)
#include <valgrind/valgrind.h>
#else
#define RUNNING_ON_VALGRIND 0
#endif

#include "ptp_cfg/clock.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/messages.h"
#include "recording_handle.h"

namespace ptp_cfg_test {
namespace {

#ifdef __SANITIZE_THREAD__
constexpr bool is_slow = true;  // it looks at each access
#else
constexpr bool is_slow = false;
#endif

/** Under valgrind threads take turns, and each step is slow. */
u_int64 lives_of_a_thread() { return RUNNING_ON_VALGRIND != 0 || is_slow ? 1000 : 200000; }

/** What threads of one kind of instance do together. */
template <class T>
struct lives {
    T *(*create)(vela_handle *, u_int32);
    void (*destroy)(vela_handle *, u_int32, T *);
    const vela_variant_row &row;
    std::barrier<> together{4};
    std::atomic<u_int64> meetings = 0;  // lives during which another thread counted one
};

/** Creates and destroys instances on a handle of its own; a counter hook keeps them off the shortest way. */
template <class T>
void live(lives<T> &all, bool hook) {
    const u_int64 count = lives_of_a_thread();
    u_int32 err = 0;
    vela_handle_options options = {};
    options.size = sizeof options;
    options.pre_write_counter = hook ? [](void *, void *, size_t, u_int32) {} : vela_pre_write_fn{nullptr};
    vela_handle *handle = vela_handle_create(&options, &err);
    u_int64 meetings = 0;
    all.together.arrive_and_wait();
    for (u_int64 i = 0; i < count; ++i) {
        const u_int64 before = __atomic_load_n(&all.row.created, __ATOMIC_RELAXED);
        all.destroy(handle, test_class, all.create(handle, test_class));
        meetings += __atomic_load_n(&all.row.created, __ATOMIC_RELAXED) - before > 1 ? 1 : 0;
    }
    all.meetings += meetings;
    vela_handle_destroy(handle, nullptr);
}

template <class T>
void expect_all_counted(const vela_type_info &record, T *(*create)(vela_handle *, u_int32),
                        void (*destroy)(vela_handle *, u_int32, T *)) {
    const vela_variant_row &row = record.variant_table->rows[0];
    lives<T> all{create, destroy, row};
    // On a busy machine threads may hardly meet: then they try again, as long as that is bearable.
    const int most = RUNNING_ON_VALGRIND != 0 || is_slow ? 1 : 20;
    for (int round = 0; round < most && all.meetings < 50000 && !testing::Test::HasFailure(); ++round) {
        const vela_variant_row before = row;
        std::vector<std::thread> threads;
        for (const bool hook : {false, false, true, true}) {
            threads.emplace_back(live<T>, std::ref(all), hook);
        }
        for (std::thread &each : threads) {
            each.join();
        }
        EXPECT_EQ(row.created - before.created, threads.size() * lives_of_a_thread()) << record.type_name;
        EXPECT_EQ(row.destroyed - before.destroyed, threads.size() * lives_of_a_thread()) << record.type_name;
    }
}

TEST(threads_test, no_life_is_lost_to_the_counters) {
    expect_all_counted(_ptp_clock_quality_type_info_internal, ptp_clock_quality_create, ptp_clock_quality_destroy);
    expect_all_counted(_ptp_clock_version_type_info_internal, ptp_clock_version_create, ptp_clock_version_destroy);
    expect_all_counted(_ptp_clock_delete_cmd_message_type_info_internal, ptp_clock_delete_cmd_message_create,
                       ptp_clock_delete_cmd_message_destroy);
}

}  // namespace
}  // namespace ptp_cfg_test
