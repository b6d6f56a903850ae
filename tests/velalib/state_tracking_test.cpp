// Where nested instances keep their state flags.
#include "test_support.h"

#include <map>
#include <random>

#include "pointer_map.h"

namespace velalib_test {
namespace {

class state_tracking_test : public handle_test {
  protected:
    void SetUp() override {
        options.tracking = VELA_STTR_ON;
        handle_test::SetUp();
    }
    int64_t offset_of(const small_instance &instance) { return velalib_get_sttr_offset(handle, test_class, &instance); }
};

TEST_F(state_tracking_test, KeepsAnOffsetUntilItIsDropped) {
    small_instance instance;
    EXPECT_EQ(offset_of(instance), 0);
    velalib_update_sttr_offset(handle, test_class, &instance, -24);
    EXPECT_EQ(offset_of(instance), -24);
    EXPECT_EQ(instance.header.flags, VELA_FLAG_STTR_OFFSET);
    velalib_update_sttr_offset(handle, test_class, &instance, 48);
    EXPECT_EQ(offset_of(instance), 48);
    // Only the flag byte changed in the instance, and only once.
    EXPECT_EQ(seen.stores, (std::vector<announcement>{{&instance.header.flags, 1, test_class}}));
    vela_hd_mapping_destroy(handle, test_class, &instance, &err);
    EXPECT_EQ(offset_of(instance), 0);
    vela_hd_mapping_destroy(handle, test_class, &instance, &err);
    EXPECT_EQ(err, 0u);
}

TEST_F(state_tracking_test, ANewInstanceAtAnOldAddressStartsWithout) {
    small_instance instance;
    velalib_update_sttr_offset(handle, test_class, &instance, 40);
    instance = {};  // freed without telling, and reused
    EXPECT_EQ(offset_of(instance), 0);
    velalib_update_sttr_offset(handle, test_class, &instance, 8);
    EXPECT_EQ(offset_of(instance), 8);
}

TEST_F(state_tracking_test, RespectsEarlierErrorsAndNull) {
    small_instance instance;
    velalib_update_sttr_offset(handle, test_class, &instance, 40);
    err = VELA_ENOMEM;
    vela_hd_mapping_destroy(handle, test_class, &instance, &err);
    EXPECT_EQ(offset_of(instance), 40);
    EXPECT_EQ(velalib_get_sttr_offset(handle, test_class, nullptr), 0);
    velalib_update_sttr_offset(handle, test_class, nullptr, 1);
    EXPECT_EQ(handle->last_error.code, static_cast<u_int32>(VELA_EINVAL));
    err = 0;
    vela_hd_mapping_destroy(handle, test_class, nullptr, &err);
    EXPECT_EQ(err, 0u);
}

// The table behind the offsets: it must neither lose entries nor grow while entries come and go.
TEST(PointerMap, AgreesWithAMapUnderChurn) {
    std::minstd_rand random(7);
    std::vector<u_int64> objects(3000);
    velalib::pointer_map<int64_t> table;
    std::map<const void *, int64_t> expected;
    u_int32 capacity_when_full = 0;
    for (int round = 0; round < 200000; ++round) {
        const void *key = &objects[random() % 300 * (round < 100000 ? 1 : 10)];
        if (random() % 2 == 0) {
            const int64_t value = static_cast<int64_t>(random());
            ASSERT_TRUE(table.insert(key, value));
            expected[key] = value;
        } else {
            ASSERT_EQ(table.erase(key), expected.erase(key) == 1);
        }
        const auto known = expected.find(key);
        const int64_t *found = table.find(key);
        ASSERT_EQ(found == nullptr ? -1 : *found, known == expected.end() ? -1 : known->second);
        if (round == 5000) {
            capacity_when_full = table.capacity();
        }
    }
    ASSERT_EQ(table.size(), expected.size());
    for (const auto &[key, value] : expected) {
        ASSERT_EQ(*table.find(key), value);
    }
    EXPECT_LE(table.capacity(), 2 * capacity_when_full);
    size_t visited = 0;
    table.for_each([&](const void *key, int64_t value) {
        ++visited;
        EXPECT_EQ(expected.at(key), value);
    });
    EXPECT_EQ(visited, expected.size());
}

}  // namespace
}  // namespace velalib_test
