// What an error inside a record leaves of the rest: positions, flags and traces while reading, the byte behind a full
// room while writing.

#include <algorithm>

#include "ptp_cfg/clock.h"
#include "ptp_cfg/port_stream.h"
#include "records.h"

namespace ptp_cfg_test {
namespace {

constexpr u_int8 untouched = 0xA5;

// ---- reading --------------------------------------------------------------------------------------------------------

using WireErrors = family_test;

TEST_F(WireErrors, ARecordGoesOnBehindItsFaultyPart) {
    open(VELA_STTR_ON);
    const auto port = own(ptp_port_identity_create(handle, test_class), ptp_port_identity_destroy);
    const octets bytes = from_hex(
        "00 08 00000021"                                              // two bytes more than this release knows
        "00 08 0000FFFF 0102030405060708 D0 D1 D2 D3 D4 D5 D6 D7 D8"  // a jump to nowhere
        "C1 0009 C2 AABB");
    EXPECT_EQ(ptp_port_identity_unmarshal(handle, test_class, bytes.data(), port.get(),
                                          static_cast<int32>(bytes.size()), 0, &err),
              bytes.size());
    expect_trace("ptp_clock_identity", BITLOG_DEBUG,
                 "offset_jump read_len 23 offset_jump_base 2 _vela_variant_jump 65535");
    expect_trace("ptp_port_identity", BITLOG_DEBUG, "offset_jump read_len 31 offset_jump_base 2 _vela_variant_jump 33");
    expect_error(VELA_EMSGSIZE);

    // The fields behind the fault are left out; flags are taken from where they are looked for then.
    auto *identity = ptp_port_identity_clock_identity_get(handle, test_class, port.get(), &err);
    EXPECT_EQ(ptp_clock_identity_ptp_clk_id_get_value(handle, test_class, identity, 7, &err), 8);
    EXPECT_EQ(ptp_clock_identity_ptp_clk_id_state_flag_get(handle, test_class, identity, 7, &err), 0xD8);
    EXPECT_EQ(ptp_port_identity_clock_identity_state_flag_get(handle, test_class, port.get(), &err), 0xC1);
    EXPECT_EQ(ptp_port_identity_portNumber_get_value(handle, test_class, port.get(), &err), 0);
    EXPECT_EQ(ptp_port_identity_portNumber_state_flag_get(handle, test_class, port.get(), &err), 0x00);
    expect_ok();
}

TEST_F(WireErrors, TheFirstCauseStays) {
    const record_type type("ptp_port");
    const auto sent = own(ptp_port_create(handle, test_class), ptp_port_destroy);
    ptp_port_port_name_set(handle, test_class, sent.get(), "uplink", 6, &err);
    octets bytes = type.marshal(handle, sent.get());
    const auto received = own(ptp_port_create(handle, test_class), ptp_port_destroy);
    const auto read = [&] {
        fail_allocation(1);  // of the name
        return ptp_port_unmarshal(handle, test_class, bytes.data(), received.get(), static_cast<int32>(bytes.size()), 0,
                                  &err);
    };
    EXPECT_EQ(read(), bytes.size()) << "the record's own end is known all the same";
    expect_error(VELA_ENOMEM);
    ASSERT_EQ(traces.size(), 1u);
    EXPECT_EQ(traces[0].text.rfind("offset_jump ", 0), 0u);
    traces.clear();
    EXPECT_STREQ(ptp_port_port_name_get(handle, test_class, received.get(), &err), "");
    EXPECT_EQ(ptp_port_port_name_size_get_value(handle, test_class, received.get(), &err), 0);

    bytes[2] = 0x7F;  // the jump leads out of the bytes as well
    EXPECT_LT(read(), bytes.size());
    expect_error(VELA_ENOMEM);
    EXPECT_EQ(traces.size(), 1u);
    traces.clear();
}

// ---- writing --------------------------------------------------------------------------------------------------------

TEST(WireFullRoom, AStateFlagIsStoredBeforeTheRoomIsLookedAt) {
    const test_handle handle({.tracking = VELA_STTR_ON});
    const auto quality = hold(handle, ptp_clock_quality_create(handle, mem_class), ptp_clock_quality_destroy);
    u_int32 err = 0;
    ptp_clock_quality_set_all(handle, mem_class, quality.get(), 0x11, -2, 6, &err);
    ptp_clock_quality_set_all_state_tracking_flag(handle, mem_class, quality.get(), 0xC3);
    const octets whole = record_type("ptp_clock_quality").marshal(handle, quality.get());
    for (const u_int32 room : {6u, 7u, 8u, 9u, 10u, 11u, 12u, 16u}) {  // each ends where a flag comes next
        octets bytes(whole.size() + 1, untouched);
        err = 0;
        EXPECT_EQ(
            ptp_clock_quality_marshal(handle, mem_class, bytes.data(), quality.get(), static_cast<int32>(room), &err),
            room);
        EXPECT_EQ(err != 0, room < 16) << room;
        EXPECT_EQ(bytes[room], 0xC3) << room;
        EXPECT_EQ(bytes[room + 1], untouched) << room;
        EXPECT_EQ(bytes[5], room < 16 ? 0 : 14) << "the jump ends where the room does";
    }

    // Of an array the whole byte is stored so; the flags of elements are as many as there is room for.
    const auto identity = hold(handle, ptp_clock_identity_create(handle, mem_class), ptp_clock_identity_destroy);
    ptp_clock_identity_set_all_state_tracking_flag(handle, mem_class, identity.get(), 0xC4);
    for (const u_int32 room : {14u, 15u, 20u}) {
        octets bytes(24, untouched);
        err = 0;
        EXPECT_EQ(
            ptp_clock_identity_marshal(handle, mem_class, bytes.data(), identity.get(), static_cast<int32>(room), &err),
            room);
        EXPECT_EQ(err, 0u);
        octets expected(bytes.begin(), bytes.begin() + 14);
        expected.resize(std::max(room, 15u), 0xC4);
        expected.resize(24, untouched);
        EXPECT_EQ(bytes, expected) << room;
    }
}

}  // namespace
}  // namespace ptp_cfg_test
