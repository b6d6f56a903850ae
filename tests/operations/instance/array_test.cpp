// What array fields add to the access of single ones.
#include <cstring>

#include "ptp_cfg/clock.h"
#include "ptp_cfg/data_sets.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/port_stream.h"
#include "recording_handle.h"

namespace ptp_cfg_test {
namespace {

class array_test : public family_test {
  protected:
    owned<ptp_clock_identity> make_identity() {
        return own(ptp_clock_identity_create(handle, test_class), ptp_clock_identity_destroy);
    }
    owned<ptp_ipv4_streams_arr> make_streams() {
        return own(ptp_ipv4_streams_arr_create(handle, test_class), ptp_ipv4_streams_arr_destroy);
    }
};

TEST_F(array_test, scalar_elements_are_checked) {
    owned<ptp_clock_identity> identity = make_identity();
    watch(identity.get(), 32);
    const u_int8 value = 0xEE;
    for (u_int32 index : {8u, 0xFFFFFFFFu}) {
        EXPECT_EQ(ptp_clock_identity_ptp_clk_id_get(handle, test_class, identity.get(), index, &err), nullptr);
        expect_error(VELA_ENOENT);
        EXPECT_EQ(ptp_clock_identity_ptp_clk_id_get_value(handle, test_class, identity.get(), index, &err), 0);
        expect_error(VELA_ENOENT);
        ptp_clock_identity_ptp_clk_id_set(handle, test_class, identity.get(), index, &value, &err);
        expect_error(VELA_ENOENT);
        ptp_clock_identity_ptp_clk_id_set_value(handle, test_class, identity.get(), index, value, &err);
        expect_error(VELA_ENOENT);
    }
    expect_untouched();
    ptp_clock_identity_ptp_clk_id_set_value(handle, test_class, identity.get(), 7, 7, &err);
    ptp_clock_identity_ptp_clk_id_set(handle, test_class, identity.get(), 0, &value, &err);
    EXPECT_EQ(ptp_clock_identity_ptp_clk_id_get_value(handle, test_class, identity.get(), 7, &err), 7);
    EXPECT_EQ(*ptp_clock_identity_ptp_clk_id_get(handle, test_class, identity.get(), 0, &err), value);
}

TEST_F(array_test, memory_in_and_out) {
    owned<ptp_clock_identity> identity = make_identity();
    const size_t offset =
        distance(identity.get(), ptp_clock_identity_ptp_clk_id_get(handle, test_class, identity.get(), 0, &err));
    char out[10] = "---------";
    watch(identity.get(), 32);
    ptp_clock_identity_ptp_clk_id_set_mem(handle, test_class, identity.get(), "abcdefgh", 8, &err);
    expect_notified(identity.get(), {{offset, 8}});
    ptp_clock_identity_ptp_clk_id_set_mem(handle, test_class, identity.get(), "XYZ", 3, &err);
    expect_notified(identity.get(), {{offset, 3}});
    ptp_clock_identity_ptp_clk_id_set_mem(handle, test_class, identity.get(), "", 0, &err);
    for (int32 length : {9, -1, INT32_MIN, INT32_MAX}) {
        ptp_clock_identity_ptp_clk_id_set_mem(handle, test_class, identity.get(), "abcdefghi", length, &err);
        expect_error(VELA_EINVAL);
        ptp_clock_identity_ptp_clk_id_get_mem(handle, test_class, identity.get(), out, length, &err);
        expect_error(VELA_EINVAL);
    }
    EXPECT_STREQ(out, "---------");
    expect_untouched();
    ptp_clock_identity_ptp_clk_id_get_mem(handle, test_class, identity.get(), out, 0, &err);
    ptp_clock_identity_ptp_clk_id_get_mem(handle, test_class, identity.get(), out, 3, &err);
    EXPECT_STREQ(out, "XYZ------");
    ptp_clock_identity_ptp_clk_id_get_mem(handle, test_class, identity.get(), out, 8, &err);
    EXPECT_STREQ(out, "XYZdefgh-");
    ptp_clock_identity_ptp_clk_id_get_mem(handle, test_class, nullptr, out, 9, &err);
    expect_epoch_error();
    ptp_clock_identity_ptp_clk_id_set_mem(handle, test_class, nullptr, out, -1, &err);
    expect_epoch_error();

    chain();
    EXPECT_EQ(ptp_clock_identity_ptp_clk_id_set_mem_cr(handle, identity.get(), "12345678", 8), 0u);
    EXPECT_EQ(ptp_clock_identity_ptp_clk_id_set_mem_cr(handle, identity.get(), "12345678", 9), u_int32{VELA_EINVAL});
    expect_chained_error(VELA_EINVAL);
    expected_class = test_class;
    expect_notified(identity.get(), {{offset, 8}});
}

TEST_F(array_test, structure_elements_read_checked_and_written_unchecked) {
    owned<ptp_ipv4_streams_arr> streams = make_streams();
    EXPECT_NE(ptp_ipv4_streams_arr_streams_get(handle, test_class, streams.get(), 127, &err), nullptr);
    EXPECT_EQ(ptp_ipv4_streams_arr_streams_get(handle, test_class, streams.get(), 128, &err), nullptr);
    expect_error(VELA_ENOENT);
    owned<ptp_ipv4_stream_id> stream = own(ptp_ipv4_stream_id_create(handle, test_class), ptp_ipv4_stream_id_destroy);
    ptp_ipv4_stream_id_addr_set_value(handle, test_class, stream.get(), 0xC0000201, &err);
    ptp_ipv4_stream_id *element = ptp_ipv4_streams_arr_streams_get(handle, test_class, streams.get(), 127, &err);
    watch(streams.get(), 11296);
    ptp_ipv4_streams_arr_streams_set(handle, test_class, streams.get(), 127, stream.get(), &err);
    expect_notified(streams.get(), {{distance(streams.get(), element), 88}});
    EXPECT_EQ(ptp_ipv4_stream_id_addr_get_value(handle, test_class, element, &err), 0xC0000201);
    EXPECT_EQ(distance(streams.get(), element), 11296u - 88 - 16) << "element after element, from the first on";

    // No source is no error, and is looked at before the place it would go to.
    ptp_ipv4_streams_arr_streams_set(handle, test_class, streams.get(), 0, nullptr, &err);
    ptp_ipv4_streams_arr_streams_set(handle, test_class, streams.get(), 0xFFFFFFFF, nullptr, &err);
    expect_ok();
    err = VELA_ENOSPC;
    ptp_ipv4_streams_arr_streams_set(handle, test_class, streams.get(), 0, stream.get(), &err);
    err = 0;
    expect_untouched();
    ptp_ipv4_streams_arr_streams_set(handle, test_class, nullptr, 0, stream.get(), &err);
    expect_epoch_error();

    // Behind the last element lies whatever the caller has there.
    std::vector<u_int64> room((11296 + 88) / 8);
    memcpy(room.data(), streams.get(), 11296);
    element = reinterpret_cast<ptp_ipv4_stream_id *>(&byte_at(room.data(), 16 + 128 * 88));
    ptp_ipv4_streams_arr_streams_set(handle, test_class, reinterpret_cast<ptp_ipv4_streams_arr *>(room.data()), 128,
                                     stream.get(), &err);
    expect_ok();
    EXPECT_EQ(memcmp(element, stream.get(), 88), 0);

    // Reflection does check.
    ptp_cfg_field_set(type_named("ptp_ipv4_streams_arr"), 0, handle, test_class, streams.get(), 128, stream.get(), 0,
                      &err);
    expect_error(VELA_ENOENT);
}

TEST_F(array_test, the_count_limits_nothing) {
    owned<ptp_stream_runtime_state_arr> a =
        own(ptp_stream_runtime_state_arr_create(handle, test_class), ptp_stream_runtime_state_arr_destroy);
    owned<ptp_stream_runtime_state_arr> b =
        own(ptp_stream_runtime_state_arr_create(handle, test_class), ptp_stream_runtime_state_arr_destroy);
    ptp_stream_runtime_state_arr_cnt_set_value(handle, test_class, a.get(), 1, &err);
    ptp_stream_runtime_state_arr_cnt_set_value(handle, test_class, b.get(), 1, &err);
    ptp_stream_runtime_state *last = ptp_stream_runtime_state_arr_state_get(handle, test_class, a.get(), 9, &err);
    ptp_stream_runtime_state_stream_id_set_value(handle, test_class, last, 1, &err);
    EXPECT_GT(ptp_stream_runtime_state_arr_compare(a.get(), b.get()), 0);
    EXPECT_NE(ptp_stream_runtime_state_arr_hash(a.get(), 1), ptp_stream_runtime_state_arr_hash(b.get(), 1));
    // The count is a field before the elements, and decides first.
    ptp_stream_runtime_state_arr_cnt_set_value(handle, test_class, b.get(), 2, &err);
    EXPECT_LT(ptp_stream_runtime_state_arr_compare(a.get(), b.get()), 0);
}

TEST_F(array_test, cleanup_after_copying_bytes_sets_every_element) {
    open(VELA_STTR_ON);
    owned<ptp_stream_runtime_state_arr> source =
        own(ptp_stream_runtime_state_arr_create(handle, test_class), ptp_stream_runtime_state_arr_destroy);
    owned<ptp_stream_runtime_state_arr> destination =
        own(ptp_stream_runtime_state_arr_create(handle, test_class), ptp_stream_runtime_state_arr_destroy);
    for (u_int32 i = 0; i < 10; ++i) {
        ptp_stream_runtime_state_stream_id_set_value(
            handle, test_class, ptp_stream_runtime_state_arr_state_get(handle, test_class, source.get(), i, &err),
            i + 1, &err);
    }
    ptp_stream_runtime_state_arr_cnt_set_value(handle, test_class, source.get(), 10, &err);
    watch(destination.get(), 6474);
    ptp_stream_runtime_state_arr_post_copyout_cleanup(handle, test_class, destination.get(), source.get(), &err);
    const std::vector<range> announced = take_notified(destination.get());
    EXPECT_EQ(announced.size(), 20u) << "body and block of each element";
    EXPECT_EQ(announced[1], (range{5872 + 12, 59}));
    EXPECT_EQ(announced[19], (range{5872 + 12 + 9 * 59, 59}));
    for (u_int32 i = 0; i < 10; ++i) {
        ptp_stream_runtime_state *element =
            ptp_stream_runtime_state_arr_state_get(handle, test_class, destination.get(), i, &err);
        EXPECT_EQ(ptp_stream_runtime_state_stream_id_get_value(handle, test_class, element, &err), i + 1);
        EXPECT_EQ(ptp_stream_runtime_state_stream_id_state_flag_get(handle, test_class, element, &err), 2);
        EXPECT_NE(header(element).flags & VELA_FLAG_STTR_OFFSET, 0);
    }
    EXPECT_EQ(ptp_stream_runtime_state_arr_cnt_get_value(handle, test_class, destination.get(), &err), 0u);

    // Types without arrays and texts have nothing to clean up.
    owned<ptp_clock_quality> quality = own(ptp_clock_quality_create(handle, test_class), ptp_clock_quality_destroy);
    watch(quality.get(), 43);
    ptp_clock_quality_post_copyout_cleanup(handle, test_class, quality.get());
    expect_untouched();
}

}  // namespace
}  // namespace ptp_cfg_test
