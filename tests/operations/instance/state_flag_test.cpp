// State flags: where each lies, what setters leave, and who may read and write them.
#include <cstring>
#include <functional>

#include "layout.h"
#include "ptp_cfg/clock.h"
#include "ptp_cfg/data_sets.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/port_stream.h"
#include "recording_handle.h"

namespace ptp_cfg_test {
namespace {

class state_flag_test : public family_test {
  protected:
    state_flag_test() { open(VELA_STTR_ON); }
    owned<ptp_clock_quality> make_quality() {
        return own(ptp_clock_quality_create(handle, test_class), ptp_clock_quality_destroy);
    }
    owned<ptp_clock_identity> make_identity() {
        return own(ptp_clock_identity_create(handle, test_class), ptp_clock_identity_destroy);
    }
    owned<ptp_ipv4_streams_arr> make_streams() {
        return own(ptp_ipv4_streams_arr_create(handle, test_class), ptp_ipv4_streams_arr_destroy);
    }
    owned<ptp_ipv4_stream_id> make_stream() {
        return own(ptp_ipv4_stream_id_create(handle, test_class), ptp_ipv4_stream_id_destroy);
    }
    /** Where the runtime says that a nested instance's block begins, from the start of its outermost parent. */
    size_t block_of(const void *parent, void *nested) {
        EXPECT_NE(header(nested).flags & VELA_FLAG_STTR_OFFSET, 0);
        return distance(parent, nested) + static_cast<size_t>(velalib_get_sttr_offset(handle, test_class, nested));
    }
    void expect_untracked(const char *type, bool reading) {
        expect_error(VELA_EINVAL);
        expect_trace(type, BITLOG_INFORMATIONAL,
                     reading ? "The object is non state tracked" : "The object is not state tracked",
                     reading ? 20 : 19);
    }
    std::vector<u_int8> bytes(const void *instance, size_t offset, size_t count) {
        const u_int8 *first = static_cast<const u_int8 *>(instance) + offset;
        return {first, first + count};
    }
};

using byte_list = std::vector<u_int8>;

// ---- layout ----------------------------------------------------------------------------------------------------------

TEST_F(state_flag_test, setters_mark_their_field) {
    owned<ptp_clock_quality> quality = make_quality();
    ptp_clock_quality_clock_class_set_value(handle, test_class, quality.get(), 6, &err);
    EXPECT_EQ(bytes(quality.get(), 40, 3), (byte_list{2, 0, 0}));
    const int16 variance = 9;
    ptp_clock_quality_offset_scaled_log_var_set(handle, test_class, quality.get(), &variance, &err);
    EXPECT_EQ(bytes(quality.get(), 40, 3), (byte_list{2, 2, 0}));
    ptp_clock_quality_clock_accuracy_set_value(handle, test_class, quality.get(), 19, &err);
    expect_epoch_error();
    EXPECT_EQ(bytes(quality.get(), 40, 3), (byte_list{2, 2, 0})) << "a refused value is not marked";
    ptp_clock_quality_clock_accuracy_set_value(handle, test_class, quality.get(), 18, &err);
    EXPECT_EQ(bytes(quality.get(), 40, 3), (byte_list{2, 2, 2}));

    owned<ptp_clock_identity> identity = make_identity();
    ptp_clock_identity_ptp_clk_id_set_value(handle, test_class, identity.get(), 5, 1, &err);
    EXPECT_EQ(bytes(identity.get(), 32, 9), (byte_list{2, 0, 0, 0, 0, 0, 2, 0, 0}));
}

TEST_F(state_flag_test, a_nested_block_lies_inside_its_parents) {
    owned<ptp_port_identity> identity = own(ptp_port_identity_create(handle, test_class), ptp_port_identity_destroy);
    ptp_clock_identity *nested = ptp_port_identity_clock_identity_get(handle, test_class, identity.get(), &err);
    ptp_port_identity_portNumber_set_value(handle, test_class, identity.get(), 1, &err);
    EXPECT_EQ(bytes(identity.get(), 64, 11), (byte_list{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2}));
    ptp_clock_identity_ptp_clk_id_set_value(handle, test_class, nested, 7, 1, &err);
    EXPECT_EQ(bytes(identity.get(), 64, 11), (byte_list{0, 2, 0, 0, 0, 0, 0, 0, 0, 2, 2}));
    ptp_port_identity_clock_identity_state_flag_set(handle, test_class, identity.get(), 6, &err);
    EXPECT_EQ(byte_at(identity.get(), 64), 6);
    EXPECT_EQ(ptp_port_identity_clock_identity_state_flag_get(handle, test_class, identity.get(), &err), 6);
    EXPECT_EQ(ptp_clock_identity_ptp_clk_id_state_flag_get(handle, test_class, nested, 7, &err), 2);
}

TEST_F(state_flag_test, blocks_of_array_types) {
    struct expectation {
        const char *type;
        u_int32 untracked_size, length;
        u_int32 array_field;
        u_int32 whole;          // position of the array's whole byte
        u_int32 first_element;  // position of element 0's own block
        u_int32 element_length;
    };
    for (const expectation &expected : {expectation{"ptp_ipv4_streams_arr", 11296, 1025, 0, 0, 129, 7},
                                        expectation{"ptp_ip_streams_arr", 6832, 401, 0, 0, 51, 7},
                                        expectation{"ptp_stream_runtime_state_arr", 5872, 602, 1, 1, 12, 59},
                                        expectation{"ptp_bmca_data", 1808, 262, 0, 0, 11, 24}}) {
        SCOPED_TRACE(expected.type);
        const ptp_cfg_type *type = type_named(expected.type);
        EXPECT_EQ(block_length(type), expected.length);
        owned<void> owner = create(type);
        void *instance = owner.get();
        const u_int32 capacity = describe_field(type, expected.array_field).capacity;
        for (u_int32 i = 0; i < capacity; ++i) {
            void *element = ptp_cfg_field_get(type, expected.array_field, handle, test_class, instance, i, &err);
            ASSERT_EQ(block_of(instance, element),
                      expected.untracked_size + expected.first_element + i * expected.element_length);
        }
        // The flags of elements stand between the whole byte and the blocks.
        ptp_cfg_field_state_flag_set(type, expected.array_field, handle, test_class, instance, 0xFFFFFFFF, 7, &err);
        ptp_cfg_field_state_flag_set(type, expected.array_field, handle, test_class, instance, capacity - 1, 9, &err);
        EXPECT_EQ(byte_at(instance, expected.untracked_size + expected.whole), 7);
        EXPECT_EQ(byte_at(instance, expected.untracked_size + expected.whole + capacity), 9);
    }
}

TEST_F(state_flag_test, every_nested_block_of_every_type_has_its_place) {
    const std::function<void(const ptp_cfg_type *, void *, size_t, void *)> check =
        [&](const ptp_cfg_type *type, void *instance, size_t block, void *outermost) {
            for (u_int32 i = 0; i < describe(type).field_count; ++i) {
                const ptp_cfg_field_description field = describe_field(type, i);
                for (u_int32 e = 0; field.kind == PTP_CFG_FIELD_STRUCTURE && e < field.capacity; ++e) {
                    void *nested = ptp_cfg_field_get(type, i, handle, test_class, instance, e, &err);
                    const size_t own = block + flag_position(type, i) + 1 +
                                       (field.is_array ? field.capacity + e * block_length(field.type) : 0);
                    ASSERT_EQ(block_of(outermost, nested), own) << describe(type).name << "." << field.name;
                    check(field.type, nested, own, outermost);
                }
            }
        };
    for (const ptp_cfg_type *type : types_of(PTP_CFG_STRUCTURE)) {
        owned<void> instance = create(type);
        check(type, instance.get(), describe(type).untracked_size, instance.get());
    }
}

TEST_F(state_flag_test, places_move_with_the_instance) {
    alignas(8) u_int8 memory[2][206];
    owned<ptp_port_data_set> set = own(ptp_port_data_set_create(handle, test_class), ptp_port_data_set_destroy);
    memcpy(memory[0], set.get(), sizeof memory[0]);
    ptp_port_data_set *moved = reinterpret_cast<ptp_port_data_set *>(memory[0]);
    ptp_port_data_set_offset_update(handle, test_class, moved, memory[0] + 184);
    void *identity = ptp_port_data_set_port_identity_get(handle, test_class, moved, &err);
    void *clock =
        ptp_port_identity_clock_identity_get(handle, test_class, static_cast<ptp_port_identity *>(identity), &err);
    void *delay = ptp_port_data_set_peer_mean_path_delay_get(handle, test_class, moved, &err);
    EXPECT_EQ(block_of(moved, identity), 184u + 1);
    EXPECT_EQ(block_of(moved, clock), 184u + 2);
    EXPECT_EQ(block_of(moved, delay), 184u + 15);
    // The places of the first instance are still its own.
    EXPECT_EQ(block_of(set.get(), ptp_port_data_set_port_identity_get(handle, test_class, set.get(), &err)), 185u);

    ptp_port_data_set_offset_remove(handle, test_class, moved, &err);
    for (void *nested : {identity, clock, delay}) {
        EXPECT_EQ(velalib_get_sttr_offset(handle, test_class, nested), 0);
    }
    ptp_clock_identity_ptp_clk_id_state_flag_get(handle, test_class, static_cast<ptp_clock_identity *>(clock), 0, &err);
    expect_untracked("ptp_clock_identity", true);

    owned<ptp_ipv4_streams_arr> streams = make_streams();
    std::vector<u_int64> room(12328 / 8);
    memcpy(room.data(), streams.get(), 12321);
    ptp_ipv4_streams_arr *copy = reinterpret_cast<ptp_ipv4_streams_arr *>(room.data());
    ptp_ipv4_streams_arr_offset_update(handle, test_class, copy, reinterpret_cast<u_int8 *>(copy) + 11296);
    ptp_ipv4_stream_id *last = ptp_ipv4_streams_arr_streams_get(handle, test_class, copy, 127, &err);
    EXPECT_EQ(block_of(copy, last), 11296u + 129 + 7 * 127);
    void *port = ptp_ipv4_stream_id_port_hdl_get(handle, test_class, last, &err);
    EXPECT_EQ(block_of(copy, port), 11296u + 129 + 7 * 127 + 2);
    ptp_ipv4_streams_arr_offset_remove(handle, test_class, copy, &err);
    EXPECT_EQ(velalib_get_sttr_offset(handle, test_class, port), 0);

    // Nothing to move where nothing is nested.
    owned<ptp_clock_quality> quality = make_quality();
    watch(quality.get(), 43);
    ptp_clock_quality_offset_update(handle, test_class, quality.get(), memory[1]);
    ptp_clock_quality_offset_remove(handle, test_class, quality.get(), &err);
    expect_untouched();
}

// ---- access ------------------------------------------------------------------------------------------------------------

TEST_F(state_flag_test, a_flag_takes_any_byte) {
    owned<ptp_clock_quality> quality = make_quality();
    watch(quality.get(), 43);
    for (u_int8 flag : {u_int8{255}, u_int8{0}, u_int8{1}}) {
        ptp_clock_quality_offset_scaled_log_var_state_flag_set(handle, test_class, quality.get(), flag, &err);
        expect_notified(quality.get(), {{41, 1}});
        EXPECT_EQ(ptp_clock_quality_offset_scaled_log_var_state_flag_get(handle, test_class, quality.get(), &err),
                  flag);
    }
}

TEST_F(state_flag_test, who_may_not_read_or_write_flags) {
    set_mode(VELA_STTR_OFF);
    owned<ptp_clock_identity> untracked = make_identity();
    set_mode(VELA_STTR_ON);
    owned<ptp_clock_identity> tracked = make_identity();
    u_int8 eight[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    u_int8 *flags = eight;
    ptp_clock_identity *identity = nullptr;
    const std::function<void()> reads[] = {
        [&] { EXPECT_EQ(ptp_clock_identity_ptp_clk_id_state_flag_get(handle, test_class, identity, 0, &err), 0); },
        [&] { EXPECT_EQ(ptp_clock_identity_ptp_clk_id_state_flag_whole_get(handle, test_class, identity, &err), 0); },
        [&] { ptp_clock_identity_ptp_clk_id_state_flag_get_arr(handle, test_class, identity, &flags, &err); }};
    const std::function<void()> writes[] = {
        [&] { ptp_clock_identity_ptp_clk_id_state_flag_set(handle, test_class, identity, 0, 1, &err); },
        [&] { ptp_clock_identity_ptp_clk_id_state_flag_whole_set(handle, test_class, identity, 1, &err); },
        [&] { ptp_clock_identity_ptp_clk_id_state_flag_set_arr(handle, test_class, identity, eight, 8, &err); },
        // A count that is none is looked at last.
        [&] { ptp_clock_identity_ptp_clk_id_state_flag_set_arr(handle, test_class, identity, eight, 7, &err); }};
    const auto each = [&](auto &&expect) {
        for (const std::function<void()> &read : reads) {
            read();
            expect(true);
        }
        for (const std::function<void()> &write : writes) {
            write();
            expect(false);
        }
        expect_untouched();
        EXPECT_EQ(flags, eight);
    };
    watch(untracked.get(), 32);
    watch(tracked.get(), 41);

    identity = untracked.get();
    each([&](bool reading) { expect_untracked("ptp_clock_identity", reading); });
    identity = nullptr;
    each([&](bool reading) { expect_untracked("ptp_clock_identity", reading); });
    err = VELA_ENOSPC;
    each([&](bool) { EXPECT_EQ(err, u_int32{VELA_ENOSPC}); });
    err = 0;

    identity = tracked.get();
    set_mode(VELA_STTR_OFF);
    each([&](bool) { expect_error(VELA_EINVAL); });

    // A handle without a record reads and writes the flags that an instance has.
    vela_sttr_record *record = handle->sttr_record;
    handle->sttr_record = nullptr;
    ptp_clock_identity_ptp_clk_id_state_flag_whole_set(handle, test_class, identity, 3, &err);
    EXPECT_EQ(ptp_clock_identity_ptp_clk_id_state_flag_whole_get(handle, test_class, identity, &err), 3);
    identity = untracked.get();
    expect_notified(tracked.get(), {{32, 1}});
    each([&](bool reading) { expect_untracked("ptp_clock_identity", reading); });
    handle->sttr_record = record;
    set_mode(VELA_STTR_ON);
}

TEST_F(state_flag_test, one_byte_for_all) {
    owned<ptp_clock_quality> quality = make_quality();
    watch(quality.get(), 43);
    ptp_clock_quality_set_all_state_tracking_flag(handle, test_class, quality.get(), 5);
    expect_notified(quality.get(), {}, {{40, 3}});
    EXPECT_EQ(bytes(quality.get(), 40, 3), (byte_list{5, 5, 5}));

    owned<ptp_ipv4_streams_arr> streams = make_streams();
    watch(streams.get(), 12321);
    ptp_ipv4_streams_arr_set_all_state_tracking_flag(handle, test_class, streams.get(), 6);
    expect_notified(streams.get(), {}, {{11296, 1025}});
    EXPECT_EQ(bytes(streams.get(), 11296, 1025), byte_list(1025, 6));

    // A nested instance: its own part of its parent's block.
    owned<ptp_port_identity> identity = own(ptp_port_identity_create(handle, test_class), ptp_port_identity_destroy);
    ptp_clock_identity_set_all_state_tracking_flag(
        handle, test_class, ptp_port_identity_clock_identity_get(handle, test_class, identity.get(), &err), 7);
    EXPECT_EQ(bytes(identity.get(), 64, 11), (byte_list{0, 7, 7, 7, 7, 7, 7, 7, 7, 7, 0}));

    set_mode(VELA_STTR_OFF);
    owned<ptp_clock_quality> untracked = make_quality();
    watch(untracked.get(), 40);
    ptp_clock_quality_set_all_state_tracking_flag(handle, test_class, quality.get(), 9);
    set_mode(VELA_STTR_ON);
    ptp_clock_quality_set_all_state_tracking_flag(handle, test_class, untracked.get(), 9);
    ptp_clock_quality_set_all_state_tracking_flag(handle, test_class, nullptr, 9);
    expect_untouched();
}

// ---- arrays --------------------------------------------------------------------------------------------------------------

TEST_F(state_flag_test, the_list_is_written_one_byte_before_it_is_read) {
    owned<ptp_clock_identity> identity = make_identity();
    ptp_clock_identity_ptp_clk_id_state_flag_set(handle, test_class, identity.get(), 7, 99, &err);
    const u_int8 list[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    watch(identity.get(), 41);
    ptp_clock_identity_ptp_clk_id_state_flag_set_arr(handle, test_class, identity.get(), list, 8, &err);
    expect_notified(identity.get(), {}, {{32, 8}});
    EXPECT_EQ(bytes(identity.get(), 32, 9), (byte_list{1, 2, 3, 4, 5, 6, 7, 8, 99}));
    u_int8 *flags = nullptr;
    ptp_clock_identity_ptp_clk_id_state_flag_get_arr(handle, test_class, identity.get(), &flags, &err);
    EXPECT_EQ(distance(identity.get(), flags), 33u);
    for (u_int32 count : {0u, 7u, 9u, 0xFFFFFFFFu}) {
        ptp_clock_identity_ptp_clk_id_state_flag_set_arr(handle, test_class, identity.get(), list, count, &err);
        expect_error(VELA_ENOENT);
    }
    expect_untouched();
    header(identity.get()).variant = -1;  // has no field, which comes before what the count should be
    ptp_clock_identity_ptp_clk_id_state_flag_set_arr(handle, test_class, identity.get(), list, 7, &err);
    expect_epoch_error();
    header(identity.get()).variant = 0;

    owned<ptp_ipv4_streams_arr> streams = make_streams();
    const byte_list many(128, 4);
    ptp_ipv4_streams_arr_streams_state_flag_set_arr(handle, test_class, streams.get(), many.data(), 128, &err);
    EXPECT_EQ(bytes(streams.get(), 11296, 128), many);
    EXPECT_EQ(byte_at(streams.get(), 11296 + 128), 0);
}

TEST_F(state_flag_test, element_flags_end_at_the_capacity) {
    owned<ptp_clock_identity> identity = make_identity();
    owned<ptp_ipv4_streams_arr> streams = make_streams();
    watch(identity.get(), 41);
    watch(streams.get(), 12321);
    for (u_int32 index : {8u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
        EXPECT_EQ(ptp_clock_identity_ptp_clk_id_state_flag_get(handle, test_class, identity.get(), index, &err), 0);
        expect_error(VELA_ENOENT);
        ptp_clock_identity_ptp_clk_id_state_flag_set(handle, test_class, identity.get(), index, 1, &err);
        expect_error(VELA_ENOENT);
    }
    for (u_int32 index : {128u, 0xFFFFFFFFu}) {
        ptp_ipv4_streams_arr_streams_state_flag_get(handle, test_class, streams.get(), index, &err);
        expect_error(VELA_ENOENT);
        ptp_ipv4_streams_arr_streams_state_flag_set(handle, test_class, streams.get(), index, 1, &err);
        expect_error(VELA_ENOENT);
    }
    expect_untouched();
    // Only reflection has a name for the whole among the elements.
    const ptp_cfg_type *type = type_named("ptp_clock_identity");
    ptp_cfg_field_state_flag_set(type, 0, handle, test_class, identity.get(), 0xFFFFFFFF, 5, &err);
    EXPECT_EQ(ptp_cfg_field_state_flag_get(type, 0, handle, test_class, identity.get(), 0xFFFFFFFF, &err), 5);
    expect_notified(identity.get(), {{32, 1}});
    ptp_clock_identity_ptp_clk_id_state_flag_set(handle, test_class, identity.get(), 7, 1, &err);
    expect_notified(identity.get(), {{40, 1}});
    ptp_clock_identity_ptp_clk_id_state_flag_whole_set(handle, test_class, identity.get(), 1, &err);
    expect_notified(identity.get(), {{32, 1}});
}

TEST_F(state_flag_test, set_mem_marks_the_whole_only) {
    owned<ptp_clock_identity> identity = make_identity();
    const size_t offset =
        distance(identity.get(), ptp_clock_identity_ptp_clk_id_get(handle, test_class, identity.get(), 0, &err));
    watch(identity.get(), 41);
    ptp_clock_identity_ptp_clk_id_set_mem(handle, test_class, identity.get(), "abc", 3, &err);
    expect_notified(identity.get(), {{offset, 3}, {32, 1}});
    EXPECT_EQ(bytes(identity.get(), 32, 9), (byte_list{2, 0, 0, 0, 0, 0, 0, 0, 0}));

    set_mode(VELA_STTR_OFF);
    owned<ptp_clock_identity> untracked = make_identity();
    set_mode(VELA_STTR_ON);
    ptp_clock_identity_ptp_clk_id_set_mem(handle, test_class, untracked.get(), "abc", 3, &err);
    expect_untracked("ptp_clock_identity", false);
    EXPECT_EQ(memcmp(&byte_at(untracked.get(), offset), "abc", 3), 0);
}

TEST_F(state_flag_test, setting_an_element_copies_its_flags_and_marks_it) {
    owned<ptp_ipv4_streams_arr> streams = make_streams();
    owned<ptp_ipv4_stream_id> stream = make_stream();
    ptp_ipv4_stream_id_stream_id_set_value(handle, test_class, stream.get(), 77, &err);
    ptp_ipv4_stream_id *element = ptp_ipv4_streams_arr_streams_get(handle, test_class, streams.get(), 5, &err);
    const size_t offset = distance(streams.get(), element);
    watch(streams.get(), 12321);
    ptp_ipv4_streams_arr_streams_set(handle, test_class, streams.get(), 5, stream.get(), &err);
    const size_t block = 11296 + 129 + 5 * 7;
    expect_notified(streams.get(), {{offset, 88}, {block, 7}, {11296, 1}, {11296 + 1 + 5, 1}});
    EXPECT_EQ(bytes(streams.get(), block, 7), (byte_list{2, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(byte_at(streams.get(), 11296), 2);
    EXPECT_EQ(byte_at(streams.get(), 11296 + 6), 2);
    EXPECT_EQ(block_of(streams.get(), element), block);
    EXPECT_EQ(ptp_ipv4_stream_id_stream_id_get_value(handle, test_class, element, &err), 77u);

    // An untracked source or owner: the values are there, the marks are not.
    set_mode(VELA_STTR_OFF);
    owned<ptp_ipv4_stream_id> untracked = make_stream();
    owned<ptp_ipv4_streams_arr> untracked_streams = make_streams();
    set_mode(VELA_STTR_ON);
    ptp_ipv4_stream_id_stream_id_set_value(handle, test_class, stream.get(), 78, &err);
    ptp_ipv4_streams_arr_streams_set(handle, test_class, streams.get(), 6, untracked.get(), &err);
    expect_untracked("ptp_ipv4_stream_id", false);
    EXPECT_EQ(byte_at(streams.get(), 11296 + 7), 0);
    ptp_ipv4_streams_arr_streams_set(handle, test_class, untracked_streams.get(), 6, stream.get(), &err);
    expect_untracked("ptp_ipv4_stream_id", false);
    element = ptp_ipv4_streams_arr_streams_get(handle, test_class, untracked_streams.get(), 6, &err);
    EXPECT_EQ(ptp_ipv4_stream_id_stream_id_get_value(handle, test_class, element, &err), 78u);
}

}  // namespace
}  // namespace ptp_cfg_test
