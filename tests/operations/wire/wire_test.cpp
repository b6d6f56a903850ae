// The bytes of structures: layout, short buffers, peers of other versions, hostile input, state flags.

#include <array>
#include <cstring>

#include "ptp_cfg/clock.h"
#include "ptp_cfg/port_stream.h"
#include "records.h"

namespace ptp_cfg_test {
namespace {

constexpr u_int8 untouched = 0xA5;

owned<ptp_clock_quality> make_quality(vela_handle *handle) {
    auto quality = hold(handle, ptp_clock_quality_create(handle, mem_class), ptp_clock_quality_destroy);
    u_int32 err = 0;
    ptp_clock_quality_set_all(handle, mem_class, quality.get(), 0x11, -2, 6, &err);
    EXPECT_EQ(err, 0u);
    return quality;
}

u_int32 read_quality(vela_handle *handle, const octets &bytes, ptp_clock_quality *quality, u_int32 *err) {
    return ptp_clock_quality_unmarshal(handle, mem_class, bytes.data(), quality, static_cast<int32>(bytes.size()), 0,
                                       err);
}

void expect_quality(vela_handle *handle, const ptp_clock_quality *quality, u_int8 clock_class, int16 variance,
                    u_int32 accuracy) {
    u_int8 got_class = 0;
    int16 got_variance = 0;
    u_int32 got_accuracy = 0;
    u_int32 err = 0;
    ptp_clock_quality_get_all(handle, mem_class, quality, &got_class, &got_variance, &got_accuracy, &err);
    EXPECT_EQ(err, 0u);
    EXPECT_EQ(got_class, clock_class);
    EXPECT_EQ(got_variance, variance);
    EXPECT_EQ(got_accuracy, accuracy);
}

// ---- layout ---------------------------------------------------------------------------------------------------------

TEST(WireLayout, Quality) {
    const test_handle plain;
    const auto quality = make_quality(plain);
    const record_type type("ptp_clock_quality");
    EXPECT_EQ(type.marshal(plain, quality.get()), from_hex("00 00 0000000C  11  FFFE  00 00000006"));

    const test_handle tracking({.tracking = VELA_STTR_ON});
    const auto tracked = make_quality(tracking);
    u_int32 err = 0;
    ptp_clock_quality_clock_class_state_flag_set(tracking, mem_class, tracked.get(), 0xC1, &err);
    ptp_clock_quality_offset_scaled_log_var_state_flag_set(tracking, mem_class, tracked.get(), 0xC2, &err);
    ptp_clock_quality_clock_accuracy_state_flag_set(tracking, mem_class, tracked.get(), 0xC3, &err);
    EXPECT_EQ(type.marshal(tracking, tracked.get()), from_hex("00 08 0000000F  11 C1  FFFE C2  00 00000006 C3"));
}

TEST(WireLayout, ByteArray) {
    const record_type type("ptp_clock_identity");
    const std::array<u_int8, 8> id = {1, 2, 3, 4, 5, 6, 7, 8};
    for (const u_int32 mode : {0u, u_int32{VELA_STTR_ON}}) {
        const test_handle handle({.tracking = mode});
        const auto identity = hold(handle, ptp_clock_identity_create(handle, mem_class), ptp_clock_identity_destroy);
        u_int32 err = 0;
        ptp_clock_identity_ptp_clk_id_set_mem(handle, mem_class, identity.get(), id.data(), 8, &err);
        if (mode == VELA_STTR_ON) {
            set_flags(type, handle, identity.get());
        }
        EXPECT_EQ(type.marshal(handle, identity.get()),
                  mode == 0 ? from_hex("00 00 0000000C 0102030405060708")
                            : from_hex("00 08 00000015 0102030405060708  01 0203040506070809"));
    }
}

TEST(WireLayout, NestedStructureCarriesItsOwnFlags) {
    const test_handle handle({.tracking = VELA_STTR_ON});
    const record_type type("ptp_port_identity");
    const auto identity = type.create(handle);
    u_int32 err = 0;
    ptp_port_identity_portNumber_set_value(handle, mem_class, static_cast<ptp_port_identity *>(identity.get()), 0x1234,
                                           &err);
    set_flags(type, handle, identity.get());
    EXPECT_EQ(type.marshal(handle, identity.get()), from_hex("00 08 0000001F "
                                                             "00 08 00000015 0000000000000000 02 030405060708090A "
                                                             "01 1234 0B"));
}

TEST(WireLayout, ExtraDataIsZerosAndNotPartOfLen) {
    const test_handle handle;
    const auto quality = make_quality(handle);
    header(quality.get()).flags |= VELA_FLAG_EXTRA_DATA;
    EXPECT_EQ(ptp_clock_quality_len(handle, mem_class, quality.get()), 14u);
    octets bytes(64, untouched);
    u_int32 err = 0;
    bytes.resize(ptp_clock_quality_marshal(handle, mem_class, bytes.data(), quality.get(), 64, &err));
    EXPECT_EQ(bytes, from_hex("00 20 000000000000000000 0000000C 11 FFFE 00 00000006"));

    header(quality.get()).variant = -1;
    bytes.assign(64, untouched);
    bytes.resize(ptp_clock_quality_marshal(handle, mem_class, bytes.data(), quality.get(), 64, &err));
    EXPECT_EQ(bytes, from_hex("FF 20 000000000000000000 00000004"));
}

TEST(WireLayout, NullInstanceIsVariantMinusOne) {
    for (const u_int32 mode : {0u, u_int32{VELA_STTR_OFF}, u_int32{VELA_STTR_ON}}) {
        const test_handle handle({.tracking = mode});
        EXPECT_EQ(ptp_clock_quality_len(handle, mem_class, nullptr), 6u);
        octets bytes(6);
        u_int32 err = 0;
        EXPECT_EQ(ptp_clock_quality_marshal(handle, mem_class, bytes.data(), nullptr, 6, &err), 6u);
        EXPECT_EQ(err, 0u);
        EXPECT_EQ(bytes, from_hex(mode == VELA_STTR_ON ? "FF 08 00000004" : "FF 00 00000004"));

        const auto target = make_quality(handle);
        EXPECT_EQ(read_quality(handle, bytes, target.get(), &err), 6u);
        EXPECT_EQ(err, 0u);
        EXPECT_EQ(header(target.get()).variant, -1);
        EXPECT_EQ(ptp_clock_quality_marshal(handle, mem_class, bytes.data(), target.get(), 6, &err), 6u);
        EXPECT_EQ(bytes[0], 0xFF);
        header(target.get()).variant = 0;
        expect_quality(handle, target.get(), 0x11, -2, 6);  // the fields stay as they were
    }
}

TEST(WireLayout, BooleansAreOneOrZero) {
    const test_handle handle;
    const record_type type("ptp_clock");
    const auto clock = type.create(handle);
    u_int32 err = 0;
    ASSERT_STREQ(type.fields[0].type_name, "vela_boolean");
    *static_cast<vela_boolean *>(ptp_cfg_field_get(type.type, 0, handle, mem_class, clock.get(), 0, &err)) = 0x100;
    octets bytes = type.marshal(handle, clock.get());
    EXPECT_EQ(bytes[6], 1);
    bytes[6] = 0x80;  // any byte but 0 is true
    EXPECT_EQ(type.operations->compare(clock.get(), type.unmarshal(handle, bytes).get()), 0);
}

// ---- short buffers --------------------------------------------------------------------------------------------------

/** Flag bytes that end a tracked encoding: marshal drops them when the room ends, and the encoding stays readable. */
u_int32 trailing_flags(const record_type &type, int8 variant) {
    const ptp_cfg_field_description *last = nullptr;
    for (const ptp_cfg_field_description &field : type.fields) {
        last = field.since <= variant ? &field : last;
    }
    const u_int32 own = last->is_array != 0 ? 1 + last->capacity : 1;
    return own + (last->kind == PTP_CFG_FIELD_STRUCTURE ? trailing_flags(record_type::of(last->type), 127) : 0);
}

void check_rooms(const record_type &type, u_int32 mode) {
    SCOPED_TRACE(std::string(type.about.name) + (mode == VELA_STTR_ON ? " tracked" : ""));
    const test_handle handle({.tracking = mode});
    const auto instance = type.create(handle);
    fill(type, handle, instance.get(), filling::random);
    const octets full = type.marshal(handle, instance.get());
    const u_int32 len = static_cast<u_int32>(full.size());
    const u_int32 droppable =
        mode == VELA_STTR_ON && type.about.kind == PTP_CFG_STRUCTURE ? trailing_flags(type, 127) : 0;
    const u_int32 step = len > 1500 ? 61 : 1;
    const guarded_memory memory(len + 1);
    for (u_int32 room = 0; room < len; room += step) {
        // Beyond the room only the one spare byte of tracked encodings may be stored; the byte after faults.
        const u_int32 spare = mode == VELA_STTR_ON && room > 0 ? 1 : 0;
        u_int8 *buffer = memory.last(room + spare);
        u_int32 err = 0;
        const u_int32 count = type.operations->marshal(handle, mem_class, buffer, instance.get(), room, &err);
        EXPECT_LE(count, room);
        if (room == 0) {
            EXPECT_EQ(err, u_int32{VELA_ENOMEM});
        } else if (room + droppable >= len) {
            EXPECT_EQ(err, 0u) << room;
            const auto read = type.create(handle);
            EXPECT_EQ(type.operations->unmarshal(handle, mem_class, buffer, read.get(), count, &err), count);
            EXPECT_EQ(err, 0u) << room << " bytes, flags cut off";
            EXPECT_EQ(type.operations->compare(instance.get(), read.get()), 0);
        } else {
            EXPECT_TRUE(err == VELA_EMSGSIZE || err == VELA_ENOMEM) << room << " error " << err;
            EXPECT_EQ(handle->last_error.code, err);
        }
    }
}

TEST(WireShortRoom, MarshalOfAnyTypeStaysInside) {
    for (const ptp_cfg_type_kind kind : {PTP_CFG_STRUCTURE, PTP_CFG_ENUMERATION}) {
        for (const record_type &type : record_types(kind)) {
            check_rooms(type, VELA_STTR_OFF);
            check_rooms(type, VELA_STTR_ON);
        }
    }
}

TEST(WireShortRoom, NegativeLengthsCountAsZero) {
    const test_handle handle;
    const auto quality = make_quality(handle);
    for (const int32 length : {0, -1, INT32_MIN}) {
        octets bytes(14, untouched);
        u_int32 err = 0;
        EXPECT_EQ(ptp_clock_quality_marshal(handle, mem_class, bytes.data(), quality.get(), length, &err), 0u);
        EXPECT_EQ(err, u_int32{VELA_ENOMEM});
        EXPECT_EQ(bytes, octets(14, untouched));
        err = 0;
        EXPECT_EQ(ptp_clock_quality_unmarshal(handle, mem_class, bytes.data(), quality.get(), length, 0, &err), 0u);
        EXPECT_EQ(err, u_int32{VELA_ENOMEM});
    }
    expect_quality(handle, quality.get(), 0x11, -2, 6);
}

TEST(WireShortRoom, AnUnreadablePrefixStoresNothing) {
    const test_handle handle({.tracking = VELA_STTR_ON});
    const octets bytes = from_hex("7F 28 000000000000000000 0000000F 22 01 0005 02 00 00000003 03");
    for (size_t length = 1; length < 15; ++length) {
        const auto quality = make_quality(handle);
        const octets before(reinterpret_cast<u_int8 *>(quality.get()), reinterpret_cast<u_int8 *>(quality.get()) + 43);
        u_int32 err = 0;
        read_quality(handle, octets(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)), quality.get(),
                     &err);
        EXPECT_EQ(err, u_int32{VELA_EMSGSIZE}) << length;
        EXPECT_EQ(memcmp(quality.get(), before.data(), before.size()), 0) << length;
    }
}

TEST(WireShortRoom, AnErrorThatIsSetEndsEveryCallAtOnce) {
    const test_handle handle;
    const auto quality = make_quality(handle);
    octets bytes(14, untouched);
    u_int32 err = 99;
    EXPECT_EQ(ptp_clock_quality_marshal(handle, mem_class, bytes.data(), quality.get(), 14, &err), 0u);
    EXPECT_EQ(ptp_clock_quality_marshal_for_clone(handle, mem_class, bytes.data(), quality.get(), 14, &err), 0u);
    EXPECT_EQ(read_quality(handle, bytes, nullptr, &err), 0u);
    EXPECT_EQ(err, 99u);
    EXPECT_EQ(bytes, octets(14, untouched));
    handle->chained_err = 99;
    EXPECT_EQ(ptp_clock_quality_len_cr(handle, quality.get()), 0u);
    handle->chained_err = 0;
    EXPECT_EQ(ptp_clock_quality_len_cr(handle, quality.get()), 14u);
}

// ---- peers of other versions, and hostile ones ----------------------------------------------------------------------

using WirePeers = family_test;

TEST_F(WirePeers, JumpOfANewerPeerIsFollowed) {
    const auto quality = make_quality(handle);
    EXPECT_EQ(read_quality(handle, from_hex("01 00 0000000F 22 0005 00 00000003 AABBCC"), quality.get(), &err), 17u);
    expect_trace("ptp_clock_quality", BITLOG_DEBUG, "offset_jump read_len 14 offset_jump_base 2 _vela_variant_jump 15");
    expect_quality(handle, quality.get(), 0x22, 5, 3);
    EXPECT_EQ(header(quality.get()).variant, 0) << "a variant above the latest is the latest";
}

TEST_F(WirePeers, ShortJumpsDoNothing) {
    for (const char *jump : {"00000000", "00000001", "0000000B", "0000000C"}) {
        const auto quality = make_quality(handle);
        EXPECT_EQ(read_quality(handle, from_hex(std::string("00 00") + jump + "22 0005 00 00000003 AABBCC"),
                               quality.get(), &err),
                  14u);
        EXPECT_EQ(err, 0u);
        expect_quality(handle, quality.get(), 0x22, 5, 3);
        expect_no_trace();
    }
}

TEST_F(WirePeers, JumpsBeyondTheRoomAreRefused) {
    for (const char *jump : {"00000010", "7FFFFFFF", "80000000", "FFFFFFFE", "FFFFFFFF"}) {
        const auto quality = make_quality(handle);
        EXPECT_LE(read_quality(handle, from_hex(std::string("00 00") + jump + "22 0005 00 00000003 AABBCC"),
                               quality.get(), &err),
                  17u);
        expect_error(VELA_EMSGSIZE);
        EXPECT_EQ(traces.size(), 1u) << jump;
        traces.clear();
    }
}

TEST_F(WirePeers, VariantsAboveTheNewest) {
    for (const char *variant : {"01", "02", "7F"}) {
        const auto quality = make_quality(handle);
        read_quality(handle, from_hex(std::string(variant) + "00 0000000C 22 0005" + variant + "00000003"),
                     quality.get(), &err);
        EXPECT_EQ(err, 0u);
        EXPECT_EQ(header(quality.get()).variant, 0);
        header(quality.get()).variant = 5;
        EXPECT_EQ(ptp_clock_quality_len(handle, mem_class, quality.get()), 14u);
        octets bytes(14);
        ptp_clock_quality_marshal_for_clone(handle, mem_class, bytes.data(), quality.get(), 14, &err);
        EXPECT_EQ(bytes, from_hex("00 00 0000000C 22 0005 00 00000003"));
        header(quality.get()).variant = 0;
    }
}

TEST_F(WirePeers, HostileFlagBytesSetNothing) {
    for (u_int32 flags = 0; flags < 256; ++flags) {
        const auto quality = make_quality(handle);
        const bool tracked = (flags & VELA_FLAG_TRACKED) != 0;
        octets bytes = {0, static_cast<u_int8>(flags)};
        const auto append = [&bytes](const octets &more) { bytes.insert(bytes.end(), more.begin(), more.end()); };
        append(octets((flags & VELA_FLAG_EXTRA_DATA) != 0 ? 9 : 0, 0xEE));
        append(from_hex(tracked ? "0000000F 22 01 0005 01 00 00000003 01" : "0000000C 22 0005 00 00000003"));
        EXPECT_EQ(read_quality(handle, bytes, quality.get(), &err), bytes.size());
        EXPECT_EQ(err, 0u);
        expect_quality(handle, quality.get(), 0x22, 5, 3);
        EXPECT_EQ(header(quality.get()).flags, flags & VELA_FLAG_EXTRA_DATA) << flags;
        // Extra data stays announced when the record travels on, and its destroy finds no mapping to drop.
        EXPECT_EQ(handle->last_error.code, 0u);
    }
}

// ---- state tracking -------------------------------------------------------------------------------------------------

TEST(WireTracking, BetweenPeersThatTrackAndPeersThatDoNot) {
    const record_type type("ptp_port_identity");
    const test_handle tracking({.tracking = VELA_STTR_ON});
    const test_handle plain({.tracking = VELA_STTR_OFF});
    const auto tracked = type.create(tracking);
    fill(type, tracking, tracked.get(), filling::random);
    set_flags(type, tracking, tracked.get());
    const octets tracked_bytes = type.marshal(tracking, tracked.get());

    const auto read = type.unmarshal(plain, tracked_bytes);
    EXPECT_EQ(type.operations->compare(tracked.get(), read.get()), 0);
    EXPECT_EQ(header(read.get()).flags & VELA_FLAG_TRACKED, 0);

    // Without flags on the wire the target keeps its own, in the nested record too.
    fill(type, plain, read.get(), filling::random, 2);
    const octets plain_bytes = type.marshal(plain, read.get());
    u_int32 err = 0;
    type.operations->unmarshal(tracking, mem_class, plain_bytes.data(), tracked.get(),
                               static_cast<u_int32>(plain_bytes.size()), &err);
    EXPECT_EQ(err, 0u);
    EXPECT_EQ(type.operations->compare(tracked.get(), read.get()), 0);
    EXPECT_NE(header(tracked.get()).flags & VELA_FLAG_TRACKED, 0);
    const octets again = type.marshal(tracking, tracked.get());
    EXPECT_EQ(octets(again.begin() + 20, again.begin() + 30),
              octets(tracked_bytes.begin() + 20, tracked_bytes.begin() + 30));
    EXPECT_EQ(again.back(), tracked_bytes.back());
}

void ignore_write(void *, void *, size_t, u_int32) {}

TEST(WireTracking, InstancesCreatedUntrackedSendZeroFlags) {
    const test_handle handle({.tracking = VELA_STTR_OFF});
    const auto quality = make_quality(handle);
    handle->sttr_record->mode = VELA_STTR_ON;
    EXPECT_EQ(record_type("ptp_clock_quality").marshal(handle, quality.get()),
              from_hex("00 08 0000000F  11 00  FFFE 00  00 00000006 00"));

    // Of an array as many as it has elements, and where the room ends fewer; whatever the buffer held before. A hook
    // keeps the handle to the reference path.
    const octets whole = from_hex("00 08 00000015  00000000 00000000  00  00000000 00000000");
    for (const vela_pre_write_fn hook : {vela_pre_write_fn{nullptr}, vela_pre_write_fn{ignore_write}}) {
        const test_handle writer({.tracking = VELA_STTR_OFF, .pre_write = hook});
        const auto identity = hold(writer, ptp_clock_identity_create(writer, mem_class), ptp_clock_identity_destroy);
        writer->sttr_record->mode = VELA_STTR_ON;
        for (const u_int32 room : {23u, 19u}) {
            octets bytes(24, 0xFF);
            u_int32 err = 0;
            EXPECT_EQ(ptp_clock_identity_marshal(writer, mem_class, bytes.data(), identity.get(),
                                                 static_cast<int32>(room), &err),
                      room);
            EXPECT_EQ(err, 0u);
            EXPECT_TRUE(std::equal(bytes.begin() + 6, bytes.begin() + room, whole.begin() + 6));
            EXPECT_EQ(bytes[room], 0xFF);
        }
    }
}

TEST(WireTrackingDeathTest, CorruptionAborts) {
    const test_handle handle({.tracking = VELA_STTR_OFF});
    const auto quality = make_quality(handle);
    octets bytes = from_hex("00 00 0000000C 11 FFFE 00 00000006");
    u_int32 err = 0;
    handle->sttr_record->mode = VELA_STTR_ON;
    EXPECT_DEATH(read_quality(handle, bytes, quality.get(), &err), "object state tracking mis-match");
    handle->sttr_record->mode = 0x1234;
    EXPECT_DEATH(read_quality(handle, bytes, quality.get(), &err), "Corrupted VELA Handle");
    EXPECT_DEATH(ptp_clock_quality_marshal(handle, mem_class, bytes.data(), quality.get(), 14, &err),
                 "Corrupted VELA Handle");
    EXPECT_DEATH(ptp_clock_quality_len(handle, mem_class, quality.get()), "Corrupted VELA Handle");
    handle->sttr_record->mode = VELA_STTR_OFF;
}

// ---- announcements -------------------------------------------------------------------------------------------------

using WireAnnouncements = family_test;

TEST_F(WireAnnouncements, UnmarshalAnnouncesEnumerationValuesAndNothingElse) {
    const auto quality = make_quality(handle);
    const size_t accuracy =
        distance(quality.get(), ptp_clock_quality_clock_accuracy_get(handle, mem_class, quality.get(), &err));
    watch(quality.get(), 40);
    read_quality(handle, from_hex("00 00 0000000C 22 0102 00 00000003"), quality.get(), &err);
    // The first two fields, at 11 and 12, change silently. The enumeration's value is stored, then announced and stored once more.
    expect_notified(quality.get(), {{accuracy + 12, 4}}, {{11, 3}, {accuracy + 12, 1}});
}

}  // namespace
}  // namespace ptp_cfg_test
