// Structures: header operations, destroy, and chains that go on after a failure.
#include "lifecycle_test.h"
#include "ptp_cfg/clock.h"
#include "ptp_cfg/data_sets.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/messages.h"
#include "ptp_cfg/port_stream.h"
#include "ptp_cfg/time_pps.h"

namespace ptp_cfg_test {
namespace {

// ---- header operations -----------------------------------------------------------------------------------------------------

TEST_P(lifecycle_test, embedded_mark_reaches_every_embedded_field) {
    owned<ptp_clock_params> params = own(ptp_clock_params_create(handle, test_class), ptp_clock_params_destroy);
    ptp_clock_quality *quality = ptp_clock_params_clock_quality_get(handle, test_class, params.get(), &err);
    ptp_clock_accuracy *accuracy = ptp_clock_quality_clock_accuracy_get(handle, test_class, quality, &err);
    watch(params.get(), 72);
    ptp_clock_params_set_instance_embedded(handle, test_class, params.get());
    expect_notified(params.get(), {flags_at(distance(params.get(), accuracy)),
                                   flags_at(distance(params.get(), quality)), flags_at(0)});
    EXPECT_EQ(header(accuracy).flags, VELA_FLAG_EMBEDDED | VELA_FLAG_NESTED);
    EXPECT_EQ(header(quality).flags, VELA_FLAG_EMBEDDED | VELA_FLAG_NESTED);
    EXPECT_EQ(header(params.get()).flags, VELA_FLAG_EMBEDDED);

    ptp_clock_params_set_instance_embedded(handle, test_class, nullptr);
    expect_trace("ptp_clock_params", BITLOG_ERROR, "Invalid object pointer passed in to set instance flag", 8);
}

TEST_P(lifecycle_test, structures_hold_no_object_identifiers_themselves) {
    owned<ptp_clock_quality> quality = make_quality();
    void *output = &output;
    EXPECT_EQ(ptp_clock_quality_get_oid_count(handle, test_class, quality.get(), &err), 0u);
    ptp_clock_quality_get_object_references(handle, test_class, quality.get(), &output, 1, &err);
    EXPECT_EQ(output, &output);
    expect_ok();
    ptp_clock_quality_get_oid_count(handle, test_class, nullptr, &err);
    expect_error(VELA_EINVAL);
    expect_trace("ptp_clock_quality", BITLOG_ERROR, "Invalid object passed in to get object oid count", 10);
    ptp_clock_quality_get_object_references(handle, test_class, nullptr, &output, 1, &err);
    expect_error(VELA_EINVAL);
    expect_trace("ptp_clock_quality", BITLOG_ERROR, "Cannot get table references. Invalid object passed on", 12);
    err = VELA_ENOMEM;
    ptp_clock_quality_get_oid_count(handle, test_class, nullptr, &err);
    expect_trace("ptp_clock_quality", BITLOG_ERROR, "Error already present in call to get object oid count", 9);
    ptp_clock_quality_get_object_references(handle, test_class, nullptr, &output, 1, &err);
    expect_trace("ptp_clock_quality", BITLOG_ERROR, "Error present in call to get table references from object", 11);
    EXPECT_EQ(err, u_int32{VELA_ENOMEM});
    err = 0;

    u_int8 luid[16];
    ptp_clock_quality_get_luid(handle, test_class, quality.get(), luid, &err);
    EXPECT_EQ(memcmp(luid, _ptp_clock_quality_type_info_internal.luid, sizeof luid), 0);
    EXPECT_EQ(ptp_clock_quality_adjust_variant(handle, test_class, quality.get(), &err), 0u);
}

TEST_P(lifecycle_test, no_instance_is_an_error_or_nothing) {
    const vela_type_info *record = &_ptp_port_data_set_type_info_internal;
    u_int8 block[22] = {};
    for (u_int32 tracking : {0, int{VELA_STTR_ON}}) {
        open(tracking);
        ptp_port_data_set_initialize(handle, test_class, nullptr, record, 1, 0, 0, nullptr, &err);
        expect_error(VELA_EINVAL);
        ptp_port_data_set_offset_update(handle, test_class, nullptr, block);
        ptp_port_data_set_offset_remove(handle, test_class, nullptr, &err);
        expect_error(VELA_EINVAL);
        ptp_port_data_set_post_copyout_cleanup(handle, test_class, nullptr);
        ptp_port_post_copyout_cleanup(handle, test_class, nullptr);
        owned<ptp_ip_streams_arr> streams =
            own(ptp_ip_streams_arr_create(handle, test_class), ptp_ip_streams_arr_destroy);
        ptp_ip_streams_arr_post_copyout_cleanup(handle, test_class, nullptr, streams.get(), &err);
        expect_error(VELA_EINVAL);
        ptp_ip_streams_arr_post_copyout_cleanup(handle, test_class, streams.get(), nullptr, &err);
        expect_error(VELA_EINVAL);
        err = VELA_ENOSPC;
        ptp_ip_streams_arr_post_copyout_cleanup(handle, test_class, nullptr, streams.get(), &err);
        ptp_port_data_set_offset_remove(handle, test_class, nullptr, &err);
        EXPECT_EQ(err, u_int32{VELA_ENOSPC});
        err = 0;
        ptp_port_data_set_set_all_state_tracking_flag(handle, test_class, nullptr, 1);
        ptp_port_data_set_destroy_internal(handle, test_class, nullptr, 0);
        expect_ok();
    }
}

// ---- destroy ---------------------------------------------------------------------------------------------------------------

TEST_P(lifecycle_test, destroy_announces_the_first_word_and_counts_nested_instances_first) {
    open(VELA_STTR_ON);
    watch_new_blocks();
    ptp_port_identity *identity = ptp_port_identity_create(handle, test_class);
    take_notified(identity);
    forget_counted();
    ptp_port_identity_destroy(handle, test_class, identity);
    expect_notified(identity, {{0, 8}});
    expect_counted(&row(_ptp_clock_identity_type_info_internal).destroyed);
    expect_counted(&row(_ptp_port_identity_type_info_internal).destroyed);

    ptp_port_identity_destroy(handle, test_class, nullptr);
    ptp_port_identity_destroy_internal(handle, test_class, nullptr, 1);
}

TEST_P(lifecycle_test, the_static_instance_stays_whatever_is_written_over_it) {
    handle->chained_err = VELA_ENOMEM;
    ptp_port_identity *none = ptp_port_identity_create_cr(handle);
    handle->chained_err = 0;
    owned<ptp_port_identity> written = make_port_identity();
    forget_counted();
    memcpy(static_cast<void *>(none), written.get(), 64);
    ptp_port_identity_destroy(handle, test_class, none);
    expect_none_counted();
    memset(static_cast<void *>(none), 0, 64);
}

TEST_P(lifecycle_test, memory_goes_back_without_a_type_pointer) {
    for (const ptp_cfg_type_kind kind : {PTP_CFG_STRUCTURE, PTP_CFG_ENUMERATION, PTP_CFG_MESSAGE}) {
        for (const ptp_cfg_type *type : types_of(kind)) {
            create(type).reset();
            EXPECT_EQ(first_word_released, nullptr) << describe(type).name;
        }
    }
}

TEST_P(lifecycle_test, what_an_instance_owes_is_settled_wherever_it_is_owed) {
    // Extra data marks an instance of which the runtime may keep something: itself, what it nests, an element.
    const ptp_cfg_type *types[] = {type_named("ptp_clock_quality"), type_named("ptp_port_identity"),
                                   type_named("ptp_ip_streams_arr")};
    for (const ptp_cfg_type *type : types) {
        for (const u_int8 flag : {VELA_FLAG_EXTRA_DATA, VELA_FLAG_STTR_OFFSET}) {
            owned<void> instance = create(type);
            void *last = nullptr;
            for_each_header(type, handle, instance.get(), [&](const ptp_cfg_type *nested_type, void *nested) {
                last = describe(nested_type).kind == PTP_CFG_STRUCTURE ? nested : last;
            });
            header(last).flags |= flag;
            handle->hd_mapping = 1;
            failures.removals = 0;
            instance.reset();
            EXPECT_EQ(failures.removals, 1) << describe(type).name << " flag " << +flag;
            handle->hd_mapping = 0;
        }
    }
}

TEST_P(lifecycle_test, destroy_frees_a_block_that_the_first_word_owns) {
    vela_type_info *record =
        static_cast<vela_type_info *>(handle->alloc(handle->cookie, test_class, sizeof(vela_type_info)));
    *record = _ptp_clock_quality_type_info_internal;
    ptp_clock_quality *quality = ptp_clock_quality_create(handle, test_class);
    header(quality).type_info = record;
    header(quality).flags |= VELA_FLAG_OWNED_BLOCK;
    ptp_clock_quality_destroy_internal(handle, test_class, quality, 0);
    EXPECT_EQ(blocks_out(), 2u);
    ptp_clock_quality_destroy(handle, test_class, quality);
    EXPECT_EQ(blocks_out(), 0u);
}

TEST_P(lifecycle_test, destroy_leaves_mappings_alone_where_the_handle_keeps_none) {
    open(VELA_STTR_ON);
    alignas(8) u_int8 memory[75] = {};
    ptp_port_identity *identity = reinterpret_cast<ptp_port_identity *>(memory);
    ptp_port_identity_initialize(handle, test_class, identity, &_ptp_port_identity_type_info_internal, 1, 0, 0, nullptr,
                                 &err);
    const ptp_clock_identity *nested = ptp_port_identity_clock_identity_get(handle, test_class, identity, &err);
    handle->hd_mapping = 0;
    ptp_port_identity_destroy_internal(handle, test_class, identity, 0);
    EXPECT_NE(velalib_get_sttr_offset(handle, test_class, nested), 0);
}

TEST_P(lifecycle_test, destroy_stops_where_the_runtime_cannot_forget_the_instance) {
    ptp_clock_quality *quality = ptp_clock_quality_create(handle, test_class);
    handle->hd_mapping = 1;
    header(quality).flags = VELA_FLAG_EXTRA_DATA;
    failures.mapping_removal = EIO;
    ptp_clock_quality_destroy(handle, test_class, quality);
    failures.mapping_removal = 0;
    expect_trace(
        "ptp_clock_quality", BITLOG_ERROR,
        std::string("ptp_clock_quality destroy: Failed to remove oid mapping for object. Error ") + strerror(EIO), 13);
    EXPECT_EQ(handle->last_error.code, static_cast<u_int32>(EIO));
    vela_clear_last_error(handle);
    EXPECT_EQ(blocks_out(), 1u);
    ptp_clock_quality_destroy(handle, test_class, quality);
}

// ---- chains ----------------------------------------------------------------------------------------------------------------

TEST_P(lifecycle_test, chained_life) {
    open(VELA_STTR_ON);
    chain();
    ptp_clock_quality *quality = ptp_clock_quality_create_cr(handle);
    EXPECT_EQ(handle->chained_mode, 0u);
    EXPECT_EQ(block_size(quality), 43u);
    EXPECT_EQ(ptp_clock_quality_len_cr(handle, quality), ptp_clock_quality_len(handle, chained_class, quality));
    EXPECT_EQ(ptp_clock_quality_is_valid_cr(handle, quality, 2), 1u);
    ptp_clock_quality *copy = ptp_clock_quality_clone_cr(handle, quality);
    ptp_clock_quality_copy_cr(handle, quality, copy);
    EXPECT_EQ(ptp_clock_quality_compare(quality, copy), 0);
    ptp_clock_quality_destroy_cr(handle, copy);
    ptp_clock_quality_destroy_cr(handle, quality);
    EXPECT_EQ(blocks_out(), 0u);
}

TEST_P(lifecycle_test, chained_copies) {
    chain();
    ptp_clock_quality *quality = ptp_clock_quality_create_cr(handle);
    ptp_clock_quality_set_all(handle, chained_class, quality, 6, -1, 3, &err);
    vela_store_err(handle, 99);
    watch_new_blocks();
    ptp_clock_quality *copy = ptp_clock_quality_clone_cr(handle, quality);
    expect_ok();
    // Of the values only that of the enumeration is announced, once it is stored.
    const size_t accuracy = distance(copy, ptp_clock_quality_clock_accuracy_get(handle, chained_class, copy, &err));
    expect_notified(copy, header_at(0) + header_at(accuracy) + std::vector<range>{{accuracy + 12, 4}},
                    {{11, accuracy - 11}, {accuracy + 12, 4}});
    vela_store_err(handle, 99);
    ptp_clock_quality_copy_cr(handle, quality, copy);
    expect_ok();
    EXPECT_EQ(ptp_clock_quality_compare(quality, copy), 0);
    ptp_clock_quality_destroy_cr(handle, copy);

    fail_allocation(1);
    EXPECT_EQ(ptp_clock_quality_clone_cr(handle, quality), nullptr);
    expect_chained_error(VELA_ENOMEM);
    handle->chained_err = 99;
    EXPECT_EQ(ptp_clock_quality_clone_cr(handle, quality), nullptr);
    handle->chained_err = 0;
    ptp_clock_quality_destroy_cr(handle, quality);
}

TEST_P(lifecycle_test, a_chain_is_told_why_initialising_failed) {
    const old_domain domain({{"ptp_clock", 0}});
    open(0, 0, domain);
    chain();
    failures.variant_lookup = EIO;
    EXPECT_EQ(ptp_clock_quality_create_cr(handle), nullptr);
    expect_trace("ptp_clock_quality", BITLOG_ERROR, std::string("error in ptp_clock_quality create: ") + strerror(EIO),
                 0);
    expect_chained_error(EIO);
    EXPECT_EQ(ptp_clock_cfg_message_create_cr(handle), nullptr);
    expect_trace("ptp_clock", BITLOG_ERROR, std::string("error in ptp_clock create: ") + strerror(EIO), 0);
    EXPECT_NE(ptp_clock_quality_create_cr(handle), nullptr) << "the chain goes on with the static instance";
    expect_chained_error(EIO);
    failures.variant_lookup = 0;
    EXPECT_EQ(blocks_out(), 0u);
}

TEST_P(lifecycle_test, a_chain_goes_on_with_the_static_instance) {
    chain();
    fail_allocation(1);
    ptp_port *port = ptp_port_create_cr(handle);
    EXPECT_EQ(handle->chained_err, u_int32{VELA_ENOMEM});
    EXPECT_EQ(handle->last_error.code, u_int32{VELA_ENOMEM});
    EXPECT_EQ(ptp_port_create_cr(handle), port);
    ptp_clock_identity *identity = ptp_clock_identity_create_cr(handle);
    ptp_virtual_port *virtual_port = ptp_virtual_port_create_cr(handle);

    EXPECT_EQ(ptp_port_port_name_set_cr(handle, port, "uplink", 6), u_int32{VELA_ENOMEM});
    EXPECT_EQ(ptp_virtual_port_v_port_name_set_cr(handle, virtual_port, "gnss", 4), u_int32{VELA_ENOMEM});
    EXPECT_EQ(ptp_clock_identity_ptp_clk_id_set_mem_cr(handle, identity, "12345678", 8), u_int32{VELA_ENOMEM});
    ptp_port_port_num_set_value(handle, chained_class, port, 7, &handle->chained_err);
    char buffer[256];
    EXPECT_EQ(ptp_port_len_cr(handle, port), 0u);
    EXPECT_EQ(ptp_port_print_cr(handle, buffer, 0, "port", port, sizeof buffer), 0xFFFFFFFFu);
    EXPECT_EQ(ptp_port_toxml_cr(handle, "port", buffer, port, sizeof buffer, 0), 0xFFFFFFFFu);
    EXPECT_EQ(ptp_port_clone_cr(handle, port), nullptr);
    ptp_port_copy_cr(handle, port, port);
    ptp_clock_cfg_message *message = ptp_clock_cfg_message_create_cr(handle);
    ASSERT_NE(message, nullptr);
    ptp_clock_cfg_message_destroy(handle, chained_class, message);
    ptp_port_destroy_cr(handle, port);
    ptp_port_destroy(handle, chained_class, port);
    ptp_clock_identity_destroy_internal(handle, chained_class, identity, 1);

    EXPECT_EQ(blocks_out(), 0u);
    expect_none_counted();
    EXPECT_EQ(notified_elsewhere, 0u);
    EXPECT_EQ(handle->chained_err, u_int32{VELA_ENOMEM});
    for (u_int32 i = 0; i < 288; ++i) {
        EXPECT_EQ(byte_at(port, i), 0) << i;
    }
    handle->chained_err = 0;
    vela_clear_last_error(handle);
}

}  // namespace
}  // namespace ptp_cfg_test
