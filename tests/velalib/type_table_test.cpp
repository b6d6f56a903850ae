// Type table, shared-form copies, identity of instances, counters and the module list.
#include "test_support.h"

#include <thread>

namespace velalib_test {
namespace {

type_record module_type("ptp_port", 2);
int initialize_calls = 0;

/** What a module does to register its one type. */
void register_module(vela_handle *handle, u_int32 mem_class, u_int32 *err) {
    ++initialize_calls;
    const vela_type_info &record = module_type.info;
    vela_type_info *known = handle->type_table_lookup(handle->type_table_cookie, mem_class, record.luid_text);
    const bool is_new = known == nullptr;
    if (is_new) {
        known = static_cast<vela_type_info *>(
            handle->shared_alloc(handle->shared_alloc_cookie, 0xFFFFFFFF, sizeof(vela_type_info_copy)));
        if (known == nullptr) {
            *err = VELA_ENOMEM;
            return;
        }
        *known = record;
        known->shared = handle->shared_type_info;
        handle->type_table_insert(handle->type_table_cookie, mem_class, known->luid_text, known);
    }
    vela_update_variant_info(handle, mem_class, known, &record, is_new);
}

class type_table_test : public handle_test {
  protected:
    void SetUp() override {
        handle_test::SetUp();
        initialize_calls = 0;
    }
    const vela_type_info *copy_of_module_type() {
        return vela_type_info_ptr_get(handle, test_class, &module_type.info, register_module);
    }
};

TEST_F(type_table_test, FindsEveryRecordByItsText) {
    std::vector<vela_type_info> records(2000);
    for (size_t i = 0; i < records.size(); ++i) {
        snprintf(records[i].luid_text, sizeof records[i].luid_text, "%032zx", i * 7919);
        handle->type_table_insert(handle->type_table_cookie, test_class, records[i].luid_text, &records[i]);
    }
    const auto lookup = [this](const char *text) {
        return handle->type_table_lookup(handle->type_table_cookie, test_class, text);
    };
    for (vela_type_info &record : records) {
        ASSERT_EQ(lookup(record.luid_text), &record);
    }
    EXPECT_EQ(lookup("00000000000000000000000000000001"), nullptr);
    EXPECT_EQ(lookup("short"), nullptr);
    vela_type_info later = records[5];
    handle->type_table_insert(handle->type_table_cookie, test_class, later.luid_text, &later);
    EXPECT_EQ(lookup(later.luid_text), &later);
}

TEST_F(type_table_test, RegistersOnceAndOnlyWhenNeeded) {
    const vela_type_info *copy = copy_of_module_type();
    EXPECT_NE(copy, &module_type.info);
    EXPECT_EQ(copy_of_module_type(), copy);
    EXPECT_EQ(initialize_calls, 1);
    EXPECT_EQ(copy->variant_table, &module_type.table);  // not in shared form: the module's own table
}

TEST_F(type_table_test, ASharedCopyCountsForItself) {
    options.shared_type_info = 1;
    open();
    const vela_type_info *copy = copy_of_module_type();
    ASSERT_NE(copy->variant_table, &module_type.table);
    ASSERT_EQ(copy->variant_table->count, 2);
    EXPECT_EQ(copy->variant_table->rows[1].used_length, 17u);
    EXPECT_EQ(copy->variant_table->rows[1].created, 0u);
    copy->variant_table->rows[1].created = 5;
    u_int32 failure = 0;
    register_module(handle, test_class, &failure);  // a second time leaves it alone
    EXPECT_EQ(copy->variant_table->rows[1].created, 5u);
    EXPECT_EQ(module_type.rows[1].created, 3u);
}

TEST_F(type_table_test, FallsBackToTheGivenRecord) {
    options.shared_alloc = [](void *, u_int32, size_t) -> void * { return nullptr; };
    open();
    EXPECT_EQ(copy_of_module_type(), &module_type.info);
    EXPECT_EQ(vela_type_info_ptr_get(handle, test_class, &module_type.info, nullptr), &module_type.info);
}

TEST_F(type_table_test, InstancesTellTheirIdentity) {
    small_instance instance;
    instance.header = {&module_type.info, 1, 0, 0x28};
    u_int8 luid[16] = {};
    vela_get_luid(handle, test_class, &instance, luid, &err);
    EXPECT_EQ(memcmp(luid, module_type.info.luid, 16), 0);
    vela_get_luid(handle, test_class, nullptr, luid, &err);
    expect_failure(VELA_EINVAL);
    EXPECT_EQ(vela_get_manifested_type_info(&instance), &module_type.info);
    EXPECT_EQ(static_cast<void *>(vela_get_manifested_type_info_ptr_mem(&instance)), static_cast<void *>(&instance));
    EXPECT_EQ(vela_get_instance_variant(&instance, 1, 0), 1);
    EXPECT_EQ(vela_get_instance_variant(nullptr, 1, 0), -1);
    EXPECT_EQ(vela_get_instance_obj_flag(&instance), 0x28);
    EXPECT_EQ(vela_get_instance_obj_flag(nullptr), 0);
    EXPECT_EQ(velalib_adjust_variant(handle, test_class, &instance, &module_type.info, 1, &err), 0u);
    EXPECT_EQ(instance.header.variant, 1);
}

TEST_F(type_table_test, CountersAreAnnouncedAndStopAtAnError) {
    for (const u_int32 shared : {0u, 1u}) {
        type_record record("counted");
        record.info.shared = shared;
        velalib_type_stats_create_object(handle, test_class, &record.info, &record.rows[0], &err);
        velalib_type_stats_destroy_object(handle, test_class, &record.info, &record.rows[0], &err);
        EXPECT_EQ(record.rows[0].created, 4u);
        EXPECT_EQ(record.rows[0].destroyed, 3u);
        EXPECT_EQ(seen.counters, (std::vector<announcement>{{&record.rows[0].created, 1, test_class},
                                                            {&record.rows[0].destroyed, 1, test_class}}));
        err = VELA_ENOMEM;
        velalib_type_stats_create_object(handle, test_class, &record.info, &record.rows[0], &err);
        EXPECT_EQ(record.rows[0].created, 4u);
        err = 0;
        seen.counters.clear();
    }
}

TEST(TypeCounters, StaticRecordsCountRightFromManyThreads) {
    type_record record("contended");
    record.rows[0].created = 0;
    constexpr u_int64 rounds = 200000;
    std::vector<std::thread> threads(4);
    for (std::thread &thread : threads) {
        thread = std::thread([&record] {
            u_int32 err = 0;
            vela_handle *handle = vela_handle_create(nullptr, &err);
            for (u_int64 j = 0; j < rounds; ++j) {
                velalib_type_stats_create_object(handle, 0, &record.info, &record.rows[0], &err);
            }
            vela_handle_destroy(handle, nullptr);
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(record.rows[0].created, 4 * rounds);
}

TEST(ModuleList, TakesModulesAtItsEnd) {
    ASSERT_EQ(vela_module_tot_root.count, 0u);
    ASSERT_EQ(vela_module_tot_root.last_next, &vela_module_tot_root.first);
    vela_module module = {"module", nullptr, nullptr, vela_module_tot_root.last_next};
    *vela_module_tot_root.last_next = &module;
    EXPECT_EQ(vela_module_tot_root.first, &module);
    vela_module_tot_root.first = nullptr;
}

}  // namespace
}  // namespace velalib_test
