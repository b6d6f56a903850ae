// Structures: size, create, initialise in place, and instance counters.
#include "lifecycle_test.h"
#include "ptp_cfg/clock.h"
#include "ptp_cfg/commands.h"
#include "ptp_cfg/data_sets.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/messages.h"
#include "ptp_cfg/port_stream.h"

namespace ptp_cfg_test {
namespace {

// ---- size ------------------------------------------------------------------------------------------------------------

TEST_P(lifecycle_test, sizes_of_all_structures) {
    EXPECT_EQ(types_of(PTP_CFG_STRUCTURE).size(), std::size(oracle::structures));
    for (const oracle::type &stated : oracle::structures) {
        SCOPED_TRACE(stated.name);
        const ptp_cfg_type *type = type_named(stated.name);
        const ptp_cfg_type_description description = describe(type);
        EXPECT_EQ(block_length(type), stated.tracked_size - stated.size);
        for (u_int32 tracking : {0, int{VELA_STTR_OFF}, int{VELA_STTR_ON}}) {
            open(tracking);
            const u_int32 expected = tracking == VELA_STTR_ON ? stated.tracked_size : stated.size;
            EXPECT_EQ(description.operations->instance_size(handle), expected);
            owned<void> instance = create(type);
            EXPECT_EQ(block_size(instance.get()), expected);
        }
    }
}

// ---- create ------------------------------------------------------------------------------------------------------------

TEST_P(lifecycle_test, create_announces_header_by_header) {
    watch_new_blocks();
    for (u_int32 tracking : {0, int{VELA_STTR_OFF}, int{VELA_STTR_ON}}) {
        open(tracking);
        const std::vector<range> tracked = tracking == VELA_STTR_ON ? std::vector{flags_at(0)} : std::vector<range>{};
        owned<ptp_clock_quality> quality = make_quality();
        const size_t accuracy =
            distance(quality.get(), ptp_clock_quality_clock_accuracy_get(handle, test_class, quality.get(), &err));
        expect_notified(quality.get(), header_at(0) + tracked + header_at(accuracy));
        expect_counted(&row(_ptp_clock_quality_type_info_internal).created);
        expect_none_counted();  // an embedded enumeration is not counted
        EXPECT_EQ(header(quality.get()).flags, tracking == VELA_STTR_ON ? VELA_FLAG_TRACKED : 0);
        EXPECT_EQ(byte_at(quality.get(), accuracy + 10), VELA_FLAG_NESTED);
    }
}

TEST_P(lifecycle_test, create_places_nested_blocks_before_their_headers) {
    watch_new_blocks();
    owned<ptp_port_identity> plain = make_port_identity();
    ptp_clock_identity *nested = ptp_port_identity_clock_identity_get(handle, test_class, plain.get(), &err);
    const size_t offset = distance(plain.get(), nested);
    expect_notified(plain.get(), header_at(0) + header_at(offset));
    expect_counted(&row(_ptp_port_identity_type_info_internal).created);
    expect_counted(&row(_ptp_clock_identity_type_info_internal).created);
    EXPECT_EQ(header(nested).flags, VELA_FLAG_NESTED);
    plain.reset();

    open(VELA_STTR_ON);
    owned<ptp_port_identity> tracked = make_port_identity();
    nested = ptp_port_identity_clock_identity_get(handle, test_class, tracked.get(), &err);
    expect_notified(tracked.get(), header_at(0) + std::vector{flags_at(0), flags_at(offset)} + header_at(offset) +
                                       std::vector{flags_at(offset)});
    EXPECT_EQ(header(nested).flags, VELA_FLAG_NESTED | VELA_FLAG_TRACKED | VELA_FLAG_STTR_OFFSET);
    EXPECT_EQ(velalib_get_sttr_offset(handle, test_class, nested), static_cast<int64_t>(64 + 1 - offset));
}

TEST_P(lifecycle_test, create_touches_headers_only) {
    watch_new_blocks();
    for (u_int32 tracking : {0, int{VELA_STTR_ON}}) {
        open(tracking);
        for (const ptp_cfg_type *type : types_of(PTP_CFG_STRUCTURE)) {
            SCOPED_TRACE(describe(type).name);
            vela_store_err(handle, 99);
            const owned<void> instance = create(type);
            expect_ok();
            std::vector<bool> in_header(block_size(instance.get()));
            for_each_header(type, handle, instance.get(), [&](const ptp_cfg_type *nested_type, void *nested) {
                const size_t offset = distance(instance.get(), nested);
                std::fill_n(in_header.begin() + static_cast<ptrdiff_t>(offset), header_bytes, true);
                const bool tracked = tracking == VELA_STTR_ON && describe(nested_type).kind == PTP_CFG_STRUCTURE;
                const int place = tracked && offset != 0 ? VELA_FLAG_STTR_OFFSET : 0;
                EXPECT_EQ(header(nested).flags,
                          (offset == 0 ? 0 : VELA_FLAG_NESTED) | (tracked ? VELA_FLAG_TRACKED : 0) | place);
                EXPECT_EQ(header(nested).variant, describe(nested_type).newest_variant);
                EXPECT_EQ(header(nested).allocated_variant, describe(nested_type).newest_variant);
                EXPECT_EQ(header(nested).type_info, &static_record(nested_type));
            });
            for (const range &bytes : take_notified(instance.get())) {
                EXPECT_TRUE(in_header[bytes.offset] && in_header[bytes.offset + bytes.length - 1]) << bytes;
            }
            for (u_int32 i = 0; i < in_header.size(); ++i) {
                EXPECT_TRUE(in_header[i] || byte_at(instance.get(), i) == 0) << i;
            }
        }
    }
}

/** How many instances of each structure one of a type is made of. */
void count_structures(const ptp_cfg_type *type, u_int64 times, std::map<const ptp_cfg_type *, u_int64> &counts) {
    counts[type] += times;
    for (u_int32 i = 0; i < describe(type).field_count; ++i) {
        const ptp_cfg_field_description field = describe_field(type, i);
        if (field.kind == PTP_CFG_FIELD_STRUCTURE) {
            count_structures(field.type, times * field.capacity, counts);
        }
    }
}

TEST_P(lifecycle_test, every_nested_instance_and_element_is_counted) {
    for (const ptp_cfg_type *type : types_of(PTP_CFG_STRUCTURE)) {
        SCOPED_TRACE(describe(type).name);
        std::map<const ptp_cfg_type *, u_int64> counts;
        count_structures(type, 1, counts);
        u_int64 all = 0;
        std::map<const ptp_cfg_type *, vela_variant_row> before;
        for (const auto &[counted_type, count] : counts) {
            before[counted_type] = row(static_record(counted_type), describe(counted_type).newest_variant);
            all += count;
        }
        forget_counted();
        create(type).reset();
        EXPECT_EQ(steps_counted(), 2 * all) << "and nothing else";
        for (const auto &[counted_type, count] : counts) {
            const vela_variant_row &now = row(static_record(counted_type), describe(counted_type).newest_variant);
            EXPECT_EQ(now.created, before[counted_type].created + count) << describe(counted_type).name;
            EXPECT_EQ(now.destroyed, before[counted_type].destroyed + count) << describe(counted_type).name;
        }
    }
}

TEST_P(lifecycle_test, create_without_memory) {
    for (const ptp_cfg_type *type : types_of(PTP_CFG_STRUCTURE)) {
        fail_allocation(1);
        vela_store_err(handle, 99);
        EXPECT_EQ(describe(type).operations->create(handle, test_class), nullptr);
        EXPECT_EQ(handle->last_error.code, 99u) << "nothing was begun";
        vela_clear_last_error(handle);
    }
    expect_none_counted();
}

TEST_P(lifecycle_test, create_that_cannot_initialise_leaves_nothing) {
    const old_domain domain({{"ptp_clock", 0}});
    open(VELA_STTR_ON, 0, domain);
    const std::string reason = strerror(EIO);
    failures.variant_lookup = EIO;
    EXPECT_EQ(ptp_clock_quality_create(handle, test_class), nullptr);
    expect_trace("ptp_clock_quality", BITLOG_ERROR, "error in ptp_clock_quality create: " + reason, 0);
    EXPECT_EQ(blocks_out(), 0u);
    expect_none_counted();
    // An enumeration goes on without one.
    owned<ptp_clock_version> version = own(ptp_clock_version_create(handle, test_class), ptp_clock_version_destroy);
    expect_trace("ptp_clock_version", BITLOG_ERROR, "error in ptp_clock_version create " + reason, 0);
    failures.variant_lookup = 0;

    // The second of three nested blocks finds no place; what was kept for the first is dropped again.
    failures.kept_offset = 2;
    failures.removals = 0;
    EXPECT_EQ(ptp_port_data_set_create(handle, test_class), nullptr);
    EXPECT_EQ(failures.kept_offset, 0);
    EXPECT_EQ(failures.removals, 3);
    expect_trace("ptp_port_data_set", BITLOG_ERROR,
                 std::string("error in ptp_port_data_set create: ") + strerror(ENOMEM), 0);
    EXPECT_EQ(blocks_out(), 1u);
    vela_clear_last_error(handle);
}

// ---- variants and counters -----------------------------------------------------------------------------------------------

TEST_P(lifecycle_test, the_domain_chooses_the_variant_up_to_the_latest) {
    const vela_type_info &record = _ptp_utc_offset_type_info_internal;
    for (const auto &[asked, given] : {std::pair{0, 0}, std::pair{1, 1}, std::pair{2, 2}, std::pair{5, 2}}) {
        const old_domain domain({{"ptp_utc_offset", static_cast<int8>(asked)}});
        vela_handle_set_domain(handle, domain);
        ptp_utc_offset *offset = ptp_utc_offset_create(handle, test_class);
        EXPECT_EQ(header(offset).variant, given);
        EXPECT_EQ(header(offset).allocated_variant, given);
        EXPECT_EQ(block_size(offset), 40u) << "all variants take the same room";
        expect_counted(&row(record, given).created);
        ptp_utc_offset_destroy(handle, test_class, offset);
        expect_counted(&row(record, given).destroyed);
        vela_handle_set_domain(handle, nullptr);
    }
    EXPECT_EQ(ptp_utc_offset_variant_data_index_cap(3), 2);
    EXPECT_EQ(ptp_utc_offset_variant_data_index_cap(0xFF), -1);
}

TEST_P(lifecycle_test, a_variant_byte_out_of_range_counts_in_the_nearest_row) {
    struct expectation {
        int8 variant;
        int row;
        const char *text;
    };
    for (const expectation &expected :
         {expectation{7, 2, "variant 7 requested only 3 variants present"}, expectation{3, 2, nullptr},
          expectation{-1, 0, nullptr}, expectation{-128, 0, nullptr}}) {
        ptp_utc_offset *offset = ptp_utc_offset_create(handle, test_class);
        forget_counted();
        header(offset).variant = expected.variant;
        ptp_utc_offset_destroy(handle, test_class, offset);
        u_int64 *counter = &row(_ptp_utc_offset_type_info_internal, expected.row).destroyed;
        if (expected.text != nullptr) {
            expect_counted_after_a_trace(counter);
            expect_trace("ptp_utc_offset", BITLOG_INFORMATIONAL, expected.text, 7);
        } else {
            expect_counted(counter);
        }
    }
}

TEST_P(lifecycle_test, a_table_with_fewer_variants_counts_in_its_last_row) {
    int8 &offset_variants = _ptp_utc_offset_type_info_internal.variant_table->count;
    int8 &message_variants = _ptp_clock_delete_cmd_message_type_info_internal.variant_table->count;
    offset_variants = 1;
    ptp_utc_offset *offset = [&] {
        const old_domain domain({{"ptp_utc_offset", 2}});
        vela_handle_set_domain(handle, domain);
        ptp_utc_offset *made = ptp_utc_offset_create(handle, test_class);
        vela_handle_set_domain(handle, nullptr);
        return made;
    }();
    expect_counted_after_a_trace(&row(_ptp_utc_offset_type_info_internal).created);
    expect_trace("ptp_utc_offset", BITLOG_INFORMATIONAL, "variant 2 requested only 1 variants present", 3);
    ptp_utc_offset_destroy(handle, test_class, offset);
    expect_counted_after_a_trace(&row(_ptp_utc_offset_type_info_internal).destroyed);
    expect_trace("ptp_utc_offset", BITLOG_INFORMATIONAL, "variant 2 requested only 1 variants present", 7);
    // Without a domain the table says which variant is the latest.
    offset = ptp_utc_offset_create(handle, test_class);
    EXPECT_EQ(header(offset).variant, 0);
    ptp_utc_offset_destroy(handle, test_class, offset);
    offset_variants = 3;

    // So it does of what an instance embeds.
    int8 &profile_variants = _ptp_clock_profile_type_info_internal.variant_table->count;
    int8 &properties_variants = _ptp_clock_time_properties_data_set_type_info_internal.variant_table->count;
    for (const auto &[variants, count] :
         {std::pair{&profile_variants, int8{1}}, {&profile_variants, int8{3}}, {&properties_variants, int8{1}}}) {
        *variants = count;
        const ptp_cfg_type *clock = type_named("ptp_clock");
        const owned<void> instance = create(clock);
        for_each_header(clock, handle, instance.get(), [&](const ptp_cfg_type *, void *nested) {
            EXPECT_EQ(header(nested).variant, header(nested).type_info->variant_table->count - 1);
        });
        *variants = 2;
    }
    forget_counted();

    message_variants = -1;
    const std::string text = "variant 0 requested only 4294967295 variants present";
    auto *message = ptp_clock_delete_cmd_message_create_shallow(handle, test_class);
    expect_counted_after_a_trace(&row(_ptp_clock_delete_cmd_message_type_info_internal).created);
    expect_trace("ptp_clock_delete_cmd_message", BITLOG_INFORMATIONAL, text);
    ptp_clock_delete_cmd_message_destroy(handle, test_class, message);
    expect_counted_after_a_trace(&row(_ptp_clock_delete_cmd_message_type_info_internal).destroyed);
    expect_trace("ptp_clock_delete_cmd_message", BITLOG_INFORMATIONAL, text);
    message_variants = 1;
}

TEST_P(lifecycle_test, each_nested_instance_counts_in_the_row_of_its_own_variant) {
    owned<ptp_clock_data_set> sets = own(ptp_clock_data_set_create(handle, test_class), ptp_clock_data_set_destroy);
    const ptp_cfg_type *older = type_named("ptp_clock_time_properties_data_set");
    u_int64 found = 0;
    for_each_header(type_named("ptp_clock_data_set"), handle, sets.get(), [&](const ptp_cfg_type *type, void *nested) {
        if (type == older) {
            header(nested).variant = 0;
            ++found;
        }
    });
    EXPECT_EQ(found, 2u);
    const vela_variant_row before = row(static_record(older), 0);
    const vela_variant_row latest = row(static_record(older), 1);
    sets.reset();
    EXPECT_EQ(row(static_record(older), 0).destroyed, before.destroyed + found);
    EXPECT_EQ(row(static_record(older), 1).destroyed, latest.destroyed);

    // The first, one in the middle and the last of an array; also what lies in an element.
    for (u_int32 i : {0u, 61u, 127u}) {
        owned<ptp_ipv4_streams_arr> streams =
            own(ptp_ipv4_streams_arr_create(handle, test_class), ptp_ipv4_streams_arr_destroy);
        ptp_ipv4_stream_id *element = ptp_ipv4_streams_arr_streams_get(handle, test_class, streams.get(), i, &err);
        header(element).variant = 2;
        header(ptp_ipv4_stream_id_port_hdl_get(handle, test_class, element, &err)).variant = 3;
        streams.reset();
        expect_trace("ptp_port_pd_hdl", BITLOG_INFORMATIONAL, "variant 3 requested only 1 variants present", 7);
        expect_trace("ptp_ipv4_stream_id", BITLOG_INFORMATIONAL, "variant 2 requested only 1 variants present", 7);
    }
}

TEST_P(lifecycle_test, shared_records_are_copies_with_counters_of_their_own) {
    const u_int64 before = row(_ptp_port_identity_type_info_internal).created;
    const u_int64 nested_before = row(_ptp_clock_identity_type_info_internal).created;
    for (int handles = 0; handles < 2; ++handles) {
        open(VELA_STTR_ON, 1);
        owned<ptp_port_identity> identity = make_port_identity();
        const vela_type_info *record = header(identity.get()).type_info;
        const vela_type_info *nested =
            header(ptp_port_identity_clock_identity_get(handle, test_class, identity.get(), &err)).type_info;
        EXPECT_NE(record, &_ptp_port_identity_type_info_internal);
        EXPECT_NE(nested, &_ptp_clock_identity_type_info_internal);
        EXPECT_STREQ(record->type_name, "ptp_port_identity");
        EXPECT_STREQ(nested->type_name, "ptp_clock_identity");
        EXPECT_NE(record->shared, 0u);
        EXPECT_EQ(row(*record).created, 1u) << "another handle's copy counts for itself";
        EXPECT_EQ(row(*nested).created, 1u);
        expect_counted(&row(*record).created);
        expect_counted(&row(*nested).created);
        identity.reset();
        EXPECT_EQ(row(*record).destroyed, 1u);
    }
    EXPECT_EQ(row(_ptp_port_identity_type_info_internal).created, before);
    EXPECT_EQ(row(_ptp_clock_identity_type_info_internal).created, nested_before);
}

// ---- initialise in place ---------------------------------------------------------------------------------------------------

TEST_P(lifecycle_test, initialise_in_the_callers_memory) {
    open(VELA_STTR_ON);
    alignas(8) u_int8 memory[75] = {};
    ptp_port_identity *identity = reinterpret_cast<ptp_port_identity *>(memory);
    const vela_type_info *record = &_ptp_port_identity_type_info_internal;
    watch(memory, sizeof memory);
    vela_store_err(handle, 99);
    ptp_port_identity_initialize(handle, test_class, identity, record, 0, 0, 0x20, nullptr, &err);
    expect_ok();
    const ptp_clock_identity *nested = ptp_port_identity_clock_identity_get(handle, test_class, identity, &err);
    const size_t offset = distance(memory, nested);
    // Without hooks only the runtime announces, when it keeps the place of the nested block.
    expect_notified(memory, {flags_at(offset)}, {{0, 11}, {offset, 10}});
    EXPECT_EQ(header(memory).flags, VELA_FLAG_TRACKED | VELA_FLAG_EXTRA_DATA);
    EXPECT_EQ(header(nested).flags, VELA_FLAG_NESTED | VELA_FLAG_TRACKED | VELA_FLAG_STTR_OFFSET);
    expect_counted(&row(*record).created);
    expect_counted(&row(_ptp_clock_identity_type_info_internal).created);

    // Embedded: neither it nor its nested instances are counted.
    ptp_port_identity_initialize(handle, test_class, identity, record, 1, 1, 0, nullptr, &err);
    expect_none_counted();
    take_notified(memory);

    err = VELA_ENOSPC;
    ptp_port_identity_initialize(handle, test_class, identity, record, 1, 0, 0xFF, nullptr, &err);
    err = 0;
    expect_untouched();

    // What the runtime keeps of it goes with destroy; the memory stays the caller's.
    ptp_port_identity_destroy_internal(handle, test_class, identity, 0);
    EXPECT_EQ(velalib_get_sttr_offset(handle, test_class, nested), 0);
    EXPECT_EQ(header(memory).type_info, record);
}

TEST_P(lifecycle_test, initialise_untracked_without_hooks_announces_nothing) {
    alignas(8) u_int8 memory[352] = {};
    ptp_clock *clock = reinterpret_cast<ptp_clock *>(memory);
    watch(memory, sizeof memory);
    ptp_clock_initialize(handle, test_class, clock, &_ptp_clock_type_info_internal, 0, 1, 0, nullptr, &err);
    expect_notified(memory, {}, {{0, 352}});
    expect_none_counted();
    ptp_clock_destroy_internal(handle, test_class, clock, 0);
}

TEST_P(lifecycle_test, a_nested_instance_needs_the_block_of_its_parent) {
    open(VELA_STTR_ON);
    alignas(8) u_int8 memory[75] = {};
    u_int8 block[32];
    ptp_port_identity *identity = reinterpret_cast<ptp_port_identity *>(memory);
    const vela_type_info *record = &_ptp_port_identity_type_info_internal;
    ptp_port_identity_initialize(handle, test_class, identity, record, 1, 0, VELA_FLAG_NESTED, nullptr, &err);
    expect_error(VELA_EINVAL);
    expect_trace("ptp_port_identity", BITLOG_ERROR,
                 "sttr_base can not be NULL in NESTED case. Please check the parent object and provide the correct "
                 "state tracking base pointer",
                 4);
    ptp_clock_identity *nested = ptp_port_identity_clock_identity_get(handle, test_class, identity, &err);
    EXPECT_EQ(header(nested).type_info, nullptr) << "its fields are not initialised";
    EXPECT_EQ(header(memory).flags, VELA_FLAG_NESTED | VELA_FLAG_TRACKED);

    memset(memory, 0, sizeof memory);
    ptp_port_identity_initialize(handle, test_class, identity, record, 1, 0, VELA_FLAG_NESTED, block, &err);
    EXPECT_EQ(reinterpret_cast<u_int8 *>(nested) + velalib_get_sttr_offset(handle, test_class, nested), block + 1);
    // Its own kept place, when it has one, comes before what the parent says.
    velalib_update_sttr_offset(handle, test_class, identity, 70);
    ptp_port_identity_initialize(handle, test_class, identity, record, 1, 0, VELA_FLAG_NESTED, block, &err);
    EXPECT_EQ(reinterpret_cast<u_int8 *>(nested) + velalib_get_sttr_offset(handle, test_class, nested), memory + 71);

    // Nothing of this matters while the handle does not track.
    set_mode(VELA_STTR_OFF);
    memset(memory, 0, sizeof memory);
    ptp_port_identity_initialize(handle, test_class, identity, record, 1, 0, VELA_FLAG_NESTED, nullptr, &err);
    EXPECT_EQ(header(nested).flags, VELA_FLAG_NESTED);
}

INSTANTIATE_TEST_SUITE_P(handles, lifecycle_test, testing::Values(all_hooks, no_hooks, write_hook, counter_hook),
                         name_of_hooks);

}  // namespace
}  // namespace ptp_cfg_test
