// Handles: options, memory, work buffer and the life of what hangs on them.
#include "test_support.h"

#include <map>
#include <random>

namespace velalib_test {
namespace {

TEST_F(handle_test, RefusesBadOptions) {
    const auto refused = [](vela_handle_options bad) {
        u_int32 failure = 0;
        EXPECT_EQ(vela_handle_create(&bad, &failure), nullptr);
        EXPECT_EQ(failure, VELA_EINVAL);
    };
    vela_handle_options bad = default_options();
    bad.size -= 1;
    refused(bad);
    bad = default_options();
    bad.alloc = limited_alloc;
    refused(bad);
    bad = default_options();
    bad.free = counted_free;
    refused(bad);
    bad = default_options();
    bad.tracking = 0x1234;
    refused(bad);
    bad = default_options();
    bad.work_buffer_size = 0x80000000u;
    refused(bad);
    u_int32 failure = VELA_EEPOCH;
    EXPECT_EQ(vela_handle_create(nullptr, &failure), nullptr);
    EXPECT_EQ(failure, VELA_EEPOCH);
    vela_handle_report report = {1, 1};
    vela_handle_destroy(nullptr, &report);
    EXPECT_EQ(report.blocks, 0u);
}

TEST_F(handle_test, StartsAsTheOptionsSay) {
    EXPECT_EQ(handle->sttr_record, nullptr);
    EXPECT_EQ(handle->hd_mapping, 0u);
    options.tracking = VELA_STTR_ON;
    options.msg_header_word = 0xABCD;
    options.shared_type_info = 1;
    options.pre_write = nullptr;
    open();
    EXPECT_EQ(handle->sttr_record->mode, static_cast<u_int32>(VELA_STTR_ON));
    EXPECT_NE(handle->hd_mapping, 0u);
    EXPECT_EQ(handle->msg_header_word, 0xABCDu);
    EXPECT_EQ(handle->shared_type_info, 1u);
    EXPECT_EQ(handle->pre_write, nullptr);
    EXPECT_NE(handle->pre_write_counter, nullptr);
}

TEST_F(handle_test, KeepsAndForgetsTheLastError) {
    vela_store_err(handle, VELA_ENOMEM);
    EXPECT_EQ(handle->last_error.code, VELA_ENOMEM);
    EXPECT_EQ(handle->last_error.epoch, 0u);
    vela_store_epoch_err(handle, VELA_EEPOCH, &err);
    EXPECT_EQ(err, VELA_EEPOCH);
    EXPECT_EQ(handle->last_error.epoch, 1u);
    vela_store_err(handle, VELA_EINVAL);
    EXPECT_EQ(handle->last_error.epoch, 0u);
    vela_clear_last_error(handle);
    EXPECT_EQ(handle->last_error.code, 0u);
}

TEST_F(handle_test, WorkBufferHasTheSizeAskedFor) {
    u_int8 *buffer = nullptr;
    int32 length = 0;
    velalib_get_handle_ws(handle, &buffer, &length);
    EXPECT_EQ(length, 65536);
    memset(buffer, 1, 65536);
    u_int8 *again = nullptr;
    velalib_get_handle_ws(handle, &again, &length);
    EXPECT_EQ(again, buffer);
    options.work_buffer_size = 100;
    open();
    velalib_get_handle_ws(handle, &buffer, &length);
    EXPECT_EQ(length, 100);
}

TEST_F(handle_test, ReportsAndReturnsWhatWasLeftBehind) {
    u_int32 failure = 0;
    vela_handle *careless = vela_handle_create(nullptr, &failure);
    void *kept = velalib_malloc(careless, test_class, 100);
    velalib_malloc(careless, test_class, 50000);  // a block of its own
    velalib_malloc(careless, test_class, 7);
    velalib_free(careless, test_class, kept);
    careless->shared_alloc(careless->shared_alloc_cookie, 0xFFFFFFFF, 288);  // lives as long as the handle
    vela_handle_report report = {};
    vela_handle_destroy(careless, &report);
    EXPECT_EQ(report.blocks, 2u);
    EXPECT_EQ(report.bytes, 50007u);
}

TEST_F(handle_test, AllocatorSurvivesChurn) {
    std::minstd_rand random(1);
    std::map<u_int8 *, std::pair<size_t, u_int8>> blocks;  // size and fill
    const size_t sizes[] = {0, 1, 16, 17, 40, 288, 511, 512, 513, 640, 641, 1024, 4097, 11296, 16384, 16385, 70000};
    for (int round = 0; round < 20000; ++round) {
        if (blocks.size() > 200 || (!blocks.empty() && random() % 3 == 0)) {
            auto victim = blocks.begin();
            std::advance(victim, random() % blocks.size());
            const auto [size, fill] = victim->second;
            for (size_t i = 0; i < size; i += 97) {
                ASSERT_EQ(victim->first[i], fill);
            }
            if (size != 0) {
                ASSERT_EQ(victim->first[size - 1], fill);
            }
            velalib_free(handle, test_class, victim->first);
            blocks.erase(victim);
        } else {
            const size_t size = sizes[random() % std::size(sizes)];
            u_int8 *block = static_cast<u_int8 *>(velalib_malloc(handle, test_class, size));
            ASSERT_NE(block, nullptr);
            ASSERT_EQ(reinterpret_cast<uintptr_t>(block) % 16, 0u);
            ASSERT_FALSE(blocks.contains(block));
            const u_int8 fill = static_cast<u_int8>(random());
            memset(block, fill, size);
            blocks[block] = {size, fill};
        }
    }
    for (const auto &[block, content] : blocks) {
        velalib_free(handle, test_class, block);
    }
    EXPECT_EQ(velalib_malloc(handle, test_class, SIZE_MAX - 8), nullptr);
}

using handle_death_test = handle_test;

TEST_F(handle_death_test, ForeignBlocksAbort) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    u_int32 failure = 0;
    vela_handle *other = vela_handle_create(nullptr, &failure);
    void *block = velalib_malloc(other, test_class, 16);
    EXPECT_DEATH(velalib_free(handle, test_class, block), "not allocated from this handle");
    vela_handle_destroy(other, nullptr);
}

TEST_F(handle_test, MemoryWithoutAHandle) {
    void *block = velalib_malloc(nullptr, test_class, 4096);
    ASSERT_NE(block, nullptr);
    velalib_free(nullptr, test_class, block);
    velalib_free(nullptr, test_class, nullptr);
    velalib_free(handle, test_class, nullptr);
}

TEST_F(handle_test, OwnAllocatorAndHooksReceiveTheCookie) {
    open_with_limit(1);
    void *block = velalib_malloc(handle, test_class, 8);
    EXPECT_EQ(seen.blocks_out, 1);
    EXPECT_EQ(velalib_malloc(handle, test_class, 8), nullptr);
    handle->pre_write(handle->cookie, block, 3, 4);
    handle->pre_write_counter(handle->cookie, block, 1, 5);
    EXPECT_EQ(seen.stores, (std::vector<announcement>{{block, 3, 4}}));
    EXPECT_EQ(seen.counters, (std::vector<announcement>{{block, 1, 5}}));
    velalib_free(handle, test_class, block);
}

TEST_F(handle_test, RecorderState) {
    EXPECT_EQ(velalib_msg_recorder_get_state(), 0u);
    velalib_msg_recorder_set(1, stderr);
    EXPECT_EQ(velalib_msg_recorder_get_state(), 1u);
    EXPECT_EQ(velalib_msg_recorder_get_handle(), stderr);
    velalib_msg_recorder_set(0, nullptr);
    EXPECT_EQ(velalib_msg_recorder_get_handle(), nullptr);
    velalib_suppress_messages_set(1);
    EXPECT_EQ(velalib_suppress_messages_enabled(), 1u);
    velalib_suppress_messages_set(0);
}

}  // namespace
}  // namespace velalib_test
