// The library comes and goes in some threads while others work, and ask about what failed in it.
//
// This program does not link the library, so that it can be unloaded.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bitlog.h"
#include "velalib.h"

namespace {

constexpr int thread_count = 8;
constexpr int visits = 60;

// The loader has such a lock of its own, of which the thread sanitizer knows nothing.
std::mutex loader;

void *load(int mode) {
    const std::lock_guard<std::mutex> held(loader);
    return dlopen(PTP_CFG_LIBRARY, mode | RTLD_NOW | RTLD_LOCAL);
}

void unload(void *library) {
    const std::lock_guard<std::mutex> held(loader);
    dlclose(library);
}

template <class T>
T *find(void *library, const char *name) {
    T *found = reinterpret_cast<T *>(dlsym(library, name));
    EXPECT_NE(found, nullptr) << name;
    return found;
}

using create_fn = void *(vela_handle *, u_int32);
using destroy_fn = void(vela_handle *, u_int32, void *);
using marshal_fn = u_int32(vela_handle *, u_int32, u_int8 *, const void *, int32, u_int32 *);
using set_fn = void(vela_handle *, u_int32, void *, const void *, u_int32 *);

constexpr const char *named_failure = "22 (VELA_EINVAL): ptp_clock_accuracy_set: an instance is null";
constexpr const char *plain_failure = "22 (VELA_EINVAL): an argument that is not valid, such as a null instance";

std::string last_failure(vela_handle *handle) {
    char text[200];
    vela_error_text(handle, VELA_EINVAL, text, sizeof text);
    return text;
}

vela_handle *make_handle(bool has_own_types) {
    vela_handle_options options = {};
    options.size = sizeof options;
    options.shared_type_info = has_own_types ? 1 : 0;
    u_int32 err = 0;
    vela_handle *handle = vela_handle_create(&options, &err);
    EXPECT_EQ(err, 0u);
    return handle;
}

/** Loads the library, uses it with a handle of its own and lets it go, which unloads it where nobody else has it. */
void visit(bool has_own_types) {
    void *library = load(0);
    ASSERT_NE(library, nullptr) << dlerror();
    vela_handle *handle = make_handle(has_own_types);
    void *clock = find<create_fn>(library, "ptp_clock_create")(handle, 1);
    u_int32 err = 0;
    u_int8 bytes[4096];
    EXPECT_GT(find<marshal_fn>(library, "ptp_clock_marshal")(handle, 1, bytes, clock, sizeof bytes, &err), 0u);
    EXPECT_EQ(err, 0u);
    find<destroy_fn>(library, "ptp_clock_destroy")(handle, 1, clock);
    find<set_fn>(library, "ptp_clock_accuracy_set")(handle, 1, nullptr, nullptr, &err);
    EXPECT_EQ(last_failure(handle), named_failure);
    unload(library);
    const std::string afterwards = last_failure(handle);
    EXPECT_TRUE(afterwards == named_failure || afterwards == plain_failure) << afterwards;
    vela_handle_report report = {};
    vela_handle_destroy(handle, &report);
    EXPECT_EQ(report.blocks, 0u);
}

TEST(unloading_in_threads, who_works_meanwhile_notices_nothing) {
    std::barrier<> together(thread_count);
    std::atomic<int> unloaded = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < thread_count; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < visits; ++i) {
                if (i % 10 == 0) {
                    together.arrive_and_wait();  // so that it is also loaded by several at once
                }
                visit(thread % 2 == 0);
                void *still = load(RTLD_NOLOAD);
                unloaded += still == nullptr ? 1 : 0;
                if (still != nullptr) {
                    unload(still);
                }
            }
        });
    }
    for (std::thread &each : threads) {
        each.join();
    }
    EXPECT_GT(unloaded, 0) << "it was never gone, so that nothing was tried";
    EXPECT_EQ(vela_module_tot_root.count, 0u);
    EXPECT_EQ(vela_module_tot_root.first, nullptr);
}

TEST(unloading_in_threads, what_is_traced_meanwhile_is_kept) {
    bitlog_set_sink([](void *, const bitlog_record *) {}, nullptr);
    ASSERT_EQ(bitlog_ring_open(nullptr, 4096), 0u);
    std::atomic<bool> done = false;
    std::thread reader([&] {
        bitlog_reader *opened = nullptr;
        EXPECT_EQ(bitlog_reader_open(nullptr, &opened, nullptr, 0), 0u);
        bitlog_entry entry;
        u_int32 seen = 0;
        for (bool last = false; !last;) {
            last = done;
            while (bitlog_reader_next(opened, &entry, 1000) != 0) {
                char text[200];
                bitlog_reader_format(opened, &entry, text, sizeof text);
                seen += std::string(text) == "Invalid object pointer passed in to set instance flag" ? 1 : 0;
            }
        }
        EXPECT_EQ(seen, 2u * visits);
        bitlog_reader_close(opened);
    });
    std::vector<std::thread> tracers;
    for (int thread = 0; thread < 2; ++thread) {
        tracers.emplace_back([] {
            for (int i = 0; i < visits; ++i) {
                void *library = load(0);
                find<destroy_fn>(library, "ptp_clock_quality_set_instance_embedded")(nullptr, 0, nullptr);
                unload(library);
            }
        });
    }
    for (std::thread &each : tracers) {
        each.join();
    }
    done = true;
    reader.join();
    bitlog_ring_close();
    bitlog_set_sink(nullptr, nullptr);
}

}  // namespace
