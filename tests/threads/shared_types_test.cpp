// Threads that enter shared types at once, each with a handle on the one mapping.
#include <unistd.h>

#include <algorithm>
#include <barrier>
#include <filesystem>
#include <thread>

#include "records.h"

namespace ptp_cfg_test {
namespace {

constexpr size_t thread_count = 16;
constexpr u_int64 lives = 500;

/** Structures that count themselves alone. */
std::vector<record_type> types_without_parts() {
    std::vector<record_type> result;
    for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
        const bool has_parts = std::ranges::any_of(type.fields, [](const ptp_cfg_field_description &field) {
            return field.kind == PTP_CFG_FIELD_STRUCTURE || field.kind == PTP_CFG_FIELD_ENUMERATION;
        });
        if (!has_parts) {
            result.push_back(type);
        }
    }
    return result;
}

class shared_types_in_threads : public testing::Test {
  protected:
    shared_types_in_threads() {
        std::filesystem::remove(path_);
        types_ = vela_shared_types_create(path_.c_str(), reinterpret_cast<void *>(0x7ea000000000), 1 << 17, &err_,
                                          nullptr, 0);
        EXPECT_NE(types_, nullptr) << err_;
    }
    ~shared_types_in_threads() override {
        vela_shared_types_close(types_);
        std::filesystem::remove(path_);
    }
    vela_handle *make_handle() const {
        vela_handle_options options = {};
        options.size = sizeof options;
        options.shared_types = types_;
        u_int32 err = 0;
        vela_handle *handle = vela_handle_create(&options, &err);
        EXPECT_EQ(err, 0u);
        return handle;
    }
    const vela_type_info *find(vela_handle *handle, const record_type &type) const {
        return handle->type_table_lookup(handle->type_table_cookie, mem_class, type.about.luid_text);
    }

    const std::string path_ = "/dev/shm/ptp-threads-test." + std::to_string(getpid());
    u_int32 err_ = 0;
    vela_shared_types *types_;
};

TEST_F(shared_types_in_threads, a_type_is_entered_once_and_counted_by_the_thread_that_uses_it) {
    const std::vector<record_type> types = types_without_parts();
    const size_t used = std::min(types.size(), thread_count);
    ASSERT_GT(used, 1u);
    std::barrier<> together(static_cast<ptrdiff_t>(used));
    std::vector<vela_handle *> handles(used);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < used; ++i) {
        threads.emplace_back([&, i] {
            together.arrive_and_wait();
            vela_handle *handle = handles[i] = make_handle();
            for (u_int64 life = 0; life < lives; ++life) {
                types[i].operations->destroy(handle, mem_class, types[i].operations->create(handle, mem_class));
            }
        });
    }
    for (std::thread &each : threads) {
        each.join();
    }
    for (size_t i = 0; i < used; ++i) {
        const vela_type_info *record = find(handles[0], types[i]);
        ASSERT_NE(record, nullptr) << types[i].about.name;
        const vela_variant_row &row = record->variant_table->rows[types[i].about.newest_variant];
        EXPECT_EQ(row.created, lives) << types[i].about.name;
        EXPECT_EQ(row.destroyed, lives) << types[i].about.name;
        for (vela_handle *handle : handles) {
            EXPECT_EQ(find(handle, types[i]), record) << types[i].about.name;
        }
    }
    for (vela_handle *handle : handles) {
        vela_handle_destroy(handle, nullptr);
    }
}

}  // namespace
}  // namespace ptp_cfg_test
