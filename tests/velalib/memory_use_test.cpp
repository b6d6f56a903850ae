// Accounts of a handle's own allocator: classes, peaks, budget, blocks that are left.
#include "test_support.h"

namespace velalib_test {
namespace {

/** Blocks that a handle reported at its end. */
struct left_blocks {
    std::vector<vela_left_block> blocks;
    std::vector<std::string> type_names;
};

void see_left_block(void *cookie, const vela_left_block *block) {
    left_blocks &left = *static_cast<left_blocks *>(cookie);
    left.blocks.push_back(*block);
    left.type_names.emplace_back(block->type_name == nullptr ? "" : block->type_name);
}

class memory_use_test : public handle_test {
  protected:
    void SetUp() override {
        handle_test::SetUp();
        options.memory_accounting = 1;
        open();
    }
    void *allocate(u_int32 mem_class, size_t size) { return velalib_malloc(handle, mem_class, size); }
    void release(u_int32 mem_class, void *memory) { velalib_free(handle, mem_class, memory); }
    void expect_total(const vela_memory_use &wanted) { expect_use(read_total(), wanted); }
    static void expect_use(const vela_memory_use &use, const vela_memory_use &wanted) {
        EXPECT_EQ(use.blocks, wanted.blocks);
        EXPECT_EQ(use.bytes, wanted.bytes);
        EXPECT_EQ(use.peak_bytes, wanted.peak_bytes);
        EXPECT_EQ(use.refused, wanted.refused);
    }
    vela_memory_use read_total() {
        vela_memory_use total = {9, 9, 9, 9};
        vela_handle_memory_use(handle, &total, nullptr, 0);
        return total;
    }
};

TEST_F(memory_use_test, EachClassHasItsShare) {
    void *first = allocate(7, 100);
    void *second = allocate(0xFFFFFFFF, 40000);  // a block of the allocator's own kind
    void *third = allocate(0, 1);
    release(0, first);  // counted where it was allocated, not where it is freed
    vela_memory_class_use classes[4] = {};
    EXPECT_EQ(vela_handle_memory_use(handle, nullptr, classes, 4), 3u);
    EXPECT_EQ(classes[0].mem_class, 7u);
    expect_use(classes[0].use, {0, 0, 100, 0});
    EXPECT_EQ(classes[1].mem_class, 0xFFFFFFFFu);
    expect_use(classes[1].use, {1, 40000, 40000, 0});
    EXPECT_EQ(classes[2].mem_class, 0u);
    expect_use(classes[2].use, {1, 1, 1, 0});
    expect_total({2, 40001, 40101, 0});
    vela_memory_class_use one[2] = {};
    EXPECT_EQ(vela_handle_memory_use(handle, nullptr, one, 1), 3u) << "there are more than fit";
    EXPECT_EQ(one[1].mem_class, 0u);
    release(1, second);
    release(1, third);
    release(1, nullptr);
    expect_total({0, 0, 40101, 0});
}

TEST_F(memory_use_test, ManyClassesInAnyOrder) {
    constexpr u_int32 count = 1000;
    std::vector<void *> blocks;
    for (u_int32 i = 0; i < 3 * count; ++i) {
        blocks.push_back(allocate((i * 7919) % count, 16));
    }
    std::vector<vela_memory_class_use> classes(count);
    EXPECT_EQ(vela_handle_memory_use(handle, nullptr, classes.data(), count), count);
    for (const vela_memory_class_use &it : classes) {
        ASSERT_EQ(it.use.bytes, 48u) << it.mem_class;
    }
    for (void *block : blocks) {
        release(0, block);
    }
    expect_total({0, 0, 48u * count, 0});
}

TEST_F(memory_use_test, TheBudgetHoldsForAllClassesTogether) {
    options.memory_accounting = 0;  // a budget brings accounts with it
    options.memory_budget = 100;
    open();
    void *first = allocate(1, 60);
    EXPECT_EQ(allocate(2, 41), nullptr);
    void *second = allocate(2, 40);
    ASSERT_NE(second, nullptr) << "a refused block costs nothing";
    EXPECT_EQ(allocate(1, 1), nullptr);
    EXPECT_EQ(allocate(1, SIZE_MAX - 8), nullptr);
    expect_total({2, 100, 100, 3});

    EXPECT_EQ(vela_handle_set_memory_budget(handle, 50), 0u);
    EXPECT_EQ(allocate(1, 0), nullptr) << "more than the budget is out";
    release(1, first);
    void *third = allocate(1, 10);
    EXPECT_NE(third, nullptr);
    EXPECT_EQ(allocate(1, 1), nullptr);
    EXPECT_EQ(vela_handle_set_memory_budget(handle, 0), 0u);
    void *fourth = allocate(1, 100000);
    EXPECT_NE(fourth, nullptr) << "no limit";
    EXPECT_EQ(allocate(1, SIZE_MAX - 8), nullptr);
    EXPECT_EQ(allocate(1, UINT32_MAX), nullptr);
    for (void *block : {second, third, fourth}) {
        release(9, block);
    }
    expect_total({0, 0, 100050, 7});
}

TEST_F(memory_use_test, WithoutAccountsOnlyWhatIsOutIsKnown) {
    options.memory_accounting = 0;
    open();
    void *block = allocate(1, 30);
    expect_total({1, 30, 0, 0});
    EXPECT_EQ(vela_handle_memory_use(handle, nullptr, nullptr, 0), 0u);
    EXPECT_EQ(vela_handle_set_memory_budget(handle, 100), VELA_EINVAL);
    release(1, block);

    open_with_limit(1);  // an allocator of the application
    block = allocate(1, 30);
    expect_total({0, 0, 0, 0});
    release(1, block);
    options.memory_budget = 1;
    u_int32 failure = 0;
    EXPECT_EQ(vela_handle_create(&options, &failure), nullptr) << "it keeps accounts of its own";
    EXPECT_EQ(failure, VELA_EINVAL);
}

TEST_F(memory_use_test, BlocksThatAreLeftAreNamed) {
    type_record known("ptp_port");
    vela_type_info *types[] = {&known.info, nullptr};
    vela_module module = {"module", types, nullptr, nullptr};
    vela_module_tot_root.first = &module;
    left_blocks left;
    vela_handle_options careless_options = default_options();
    careless_options.left_behind = see_left_block;
    careless_options.cookie = &left;
    vela_handle *careless = vela_handle_create(&careless_options, &err);
    void *text = velalib_malloc(careless, 3, 5);
    velalib_free(careless, 3, velalib_malloc(careless, 3, 50));
    void *instance = velalib_malloc(careless, 4, sizeof(small_instance));
    *static_cast<small_instance *>(instance) = {{&known.info, 0, 0, 0}};
    void *bytes = velalib_malloc(careless, 4, 70000);
    memset(bytes, 0xA5, 70000);
    vela_handle_report report = {};
    vela_handle_destroy(careless, &report);
    vela_module_tot_root.first = nullptr;
    EXPECT_EQ(report.blocks, 3u);
    EXPECT_EQ(report.bytes, 5 + sizeof(small_instance) + 70000);
    ASSERT_EQ(left.blocks.size(), 3u);
    EXPECT_EQ(left.blocks[0].address, bytes);
    EXPECT_EQ(left.blocks[1].address, instance);
    EXPECT_EQ(left.blocks[1].mem_class, 4u);
    EXPECT_EQ(left.blocks[1].size, sizeof(small_instance));
    EXPECT_EQ(left.blocks[2].address, text);
    EXPECT_EQ(left.type_names, (std::vector<std::string>{"", "ptp_port", ""}));
}

using memory_use_death_test = memory_use_test;

TEST_F(memory_use_death_test, ForeignAndFreedBlocksAbort) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    u_int32 failure = 0;
    vela_handle *other = vela_handle_create(nullptr, &failure);
    velalib_malloc(other, test_class, 64);
    void *block = velalib_malloc(other, test_class, 64);
    // An address sanitizer says it in its own words, here and below.
    EXPECT_DEATH(release(test_class, block), "not allocated from this handle|heap-buffer-overflow");
    vela_handle_destroy(other, nullptr);
    EXPECT_DEATH(
        {
            void *once = allocate(1, 64);
            release(1, once);
            release(1, once);
        },
        "freed before|use-after-free");
}

TEST_F(memory_use_test, ProgramsOfAnEarlierReleaseHaveFewerOptions) {
    vela_handle_options early = default_options();
    early.size = offsetof(vela_handle_options, memory_budget);
    early.msg_header_word = 5;
    early.memory_budget = 1;  // lies beyond what such a program wrote
    u_int32 failure = 0;
    vela_handle *created = vela_handle_create(&early, &failure);
    ASSERT_NE(created, nullptr) << failure;
    EXPECT_EQ(created->msg_header_word, 5u);
    EXPECT_NE(velalib_malloc(created, 1, 100), nullptr);
    vela_handle_destroy(created, nullptr);
}

}  // namespace
}  // namespace velalib_test
