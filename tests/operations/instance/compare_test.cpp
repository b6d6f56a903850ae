// Order and hash: every leaf counts, headers and state flags do not.
#include <limits>
#include <utility>

#include "ptp_cfg/clock.h"
#include "ptp_cfg/port_stream.h"
#include "records.h"

namespace ptp_cfg_test {
namespace {

/** What compare gives for two instances of which only the given leaf differs, the first holding its minimum. */
void expect_order(const leaf &where, int32 smaller, int32 greater) {
    const ptp_cfg_field_description &field = where.field();
    const std::string name = std::string(where.owner.about.name) + "." + field.name;
    ptp_cfg_literal last = {};
    switch (field.kind) {
        case PTP_CFG_FIELD_ENUMERATION:
            // The difference of the numbers, not its sign.
            ptp_cfg_literal_describe(field.type, record_type::of(field.type).about.literal_count - 1, &last);
            EXPECT_EQ(smaller, -static_cast<int32>(last.number)) << name;
            EXPECT_EQ(greater, static_cast<int32>(last.number)) << name;
            break;
        case PTP_CFG_FIELD_UNSIGNED:
        case PTP_CFG_FIELD_SIGNED:
            if (field.is_array == 0) {
                EXPECT_EQ(smaller, -1) << name;
                EXPECT_EQ(greater, 1) << name;
                break;
            }
            [[fallthrough]];
        default:
            EXPECT_LT(smaller, 0) << name;
            EXPECT_GT(greater, 0) << name;
    }
}

TEST(CompareAndHash, EveryLeafCounts) {
    for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
        const test_handle handle;
        const auto a = type.create(handle);
        const auto b = type.create(handle);
        fill(type, handle, a.get(), filling::minimum);
        fill(type, handle, b.get(), filling::minimum);
        EXPECT_EQ(type.operations->compare(a.get(), b.get()), 0) << type.about.name;
        const u_int32 hash = type.operations->hash(a.get(), 1);
        EXPECT_EQ(type.operations->hash(b.get(), 1), hash) << type.about.name;
        for_each_leaf(type, handle, b.get(), [&](const leaf &where) {
            fill_leaf(handle, where, filling::maximum);
            expect_order(where, type.operations->compare(a.get(), b.get()), type.operations->compare(b.get(), a.get()));
            EXPECT_NE(type.operations->hash(b.get(), 1), hash) << type.about.name << "." << where.field().name;
            fill_leaf(handle, where, filling::minimum);
        });
        EXPECT_EQ(type.operations->compare(a.get(), b.get()), 0) << type.about.name;
    }
}

TEST(CompareAndHash, TheFirstDifferenceDecides) {
    const test_handle handle;
    const auto make = [&](u_int8 clock_class, int16 variance, u_int32 accuracy) {
        auto quality = hold(handle, ptp_clock_quality_create(handle, mem_class), ptp_clock_quality_destroy);
        u_int32 err = 0;
        ptp_clock_quality_set_all(handle, mem_class, quality.get(), clock_class, variance, accuracy, &err);
        EXPECT_EQ(err, 0u);
        return quality;
    };
    const auto base = make(6, 100, 6);
    EXPECT_EQ(ptp_clock_quality_compare(base.get(), make(200, 0, 0).get()), -1);
    EXPECT_EQ(ptp_clock_quality_compare(base.get(), make(6, -1, 18).get()), 1);
    EXPECT_EQ(ptp_clock_quality_compare(base.get(), make(6, 100, 2).get()), 4);
    EXPECT_EQ(ptp_clock_quality_compare(base.get(), make(6, 100, 18).get()), -12);
    EXPECT_EQ(ptp_clock_quality_compare(nullptr, base.get()), -1);
    EXPECT_EQ(ptp_clock_quality_compare(base.get(), nullptr), 1);
    EXPECT_EQ(ptp_clock_quality_compare(nullptr, nullptr), 0);
}

TEST(CompareAndHash, HeadersAndStateFlagsDoNotCount) {
    const test_handle handle({.tracking = VELA_STTR_ON});
    for (const char *name : {"ptp_port_identity", "ptp_utc_offset", "ptp_master_attribute"}) {
        const record_type type(name);
        const auto a = type.create(handle);
        const auto b = type.create(handle);
        fill(type, handle, a.get(), filling::random);
        fill(type, handle, b.get(), filling::random);
        set_flags(type, handle, a.get());
        header(a.get()).flags |= VELA_FLAG_EXTRA_DATA;
        header(a.get()).variant = 0;  // fields beyond it still count
        EXPECT_EQ(type.operations->compare(a.get(), b.get()), 0) << name;
        EXPECT_EQ(type.operations->hash(a.get(), 5), type.operations->hash(b.get(), 5)) << name;
    }
}

TEST(CompareAndHash, HashChains) {
    const test_handle handle;
    u_int32 err = 0;
    const record_type type("ptp_port_identity");
    const auto instance = type.create(handle);
    auto *port = static_cast<ptp_port_identity *>(instance.get());
    ptp_clock_identity *identity = ptp_port_identity_clock_identity_get(handle, mem_class, port, &err);
    const u_int8 id[] = {1, 2, 3, 4, 5, 6, 7, 8};
    ptp_clock_identity_ptp_clk_id_set_mem(handle, mem_class, identity, id, 8, &err);
    ptp_port_identity_portNumber_set_value(handle, mem_class, port, 9, &err);
    const u_int16 number = 9;
    EXPECT_EQ(ptp_clock_identity_hash(identity, 77), SuperFastHash(id, 8, 77));
    EXPECT_EQ(ptp_port_identity_hash(port, 77), u_int16_hash(&number, SuperFastHash(id, 8, 77)));
    EXPECT_EQ(ptp_port_identity_hash(nullptr, 77), 77u);

    const auto quality = hold(handle, ptp_clock_quality_create(handle, mem_class), ptp_clock_quality_destroy);
    ptp_clock_quality_set_all(handle, mem_class, quality.get(), 6, -9, 3, &err);
    const u_int8 clock_class = 6;
    const int16 variance = -9;
    const u_int32 accuracy = 3;
    EXPECT_EQ(ptp_clock_quality_hash(quality.get(), 0x80000000u),
              SuperFastHash(&accuracy, 4, int16_hash(&variance, u_int8_hash(&clock_class, 0x80000000u))));
}

}  // namespace
}  // namespace ptp_cfg_test
