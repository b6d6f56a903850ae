// Structures: size, create, initialise in place, destroy, instance counters, and chains that go on after a failure.
#include <cerrno>
#include <cstring>
#include <iterator>

#include "layout.h"
#include "oracle_model.h"
#include "recording_handle.h"
#include "runtime_failures.h"

namespace ptp_cfg_test {
namespace {

class lifecycle_test : public family_test, public testing::WithParamInterface<hook_set> {
  protected:
    lifecycle_test() { use_hooks(GetParam()); }
    owned<ptp_clock_quality> make_quality() {
        return own(ptp_clock_quality_create(handle, test_class), ptp_clock_quality_destroy);
    }
    owned<ptp_port_identity> make_port_identity() {
        return own(ptp_port_identity_create(handle, test_class), ptp_port_identity_destroy);
    }
};

/** What a header's initialisation announces, `offset` being where its instance lies. */
std::vector<range> header_at(size_t offset) {
    return {{offset + 9, 1}, {offset + 8, 1}, {offset, 8}, {offset + 10, 1}};
}
constexpr size_t header_bytes = 11;
range flags_at(size_t offset) { return {offset + 10, 1}; }
std::vector<range> operator+(std::vector<range> a, const std::vector<range> &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

vela_variant_row &row(const vela_type_info &record, int index = 0) { return record.variant_table->rows[index]; }

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

INSTANTIATE_TEST_SUITE_P(handles, lifecycle_test, testing::Values(all_hooks, no_hooks, write_hook, counter_hook),
                         name_of_hooks);

}  // namespace
}  // namespace ptp_cfg_test
