// Enumerations: life, header operations and chains.
#include "enumeration_test.h"
#include "ptp_cfg/enumerations.h"

namespace ptp_cfg_test {
namespace {

// ---- life ----------------------------------------------------------------------------------------------------------

TEST_F(enumeration_test, life_of_an_instance) {
    const vela_type_info &record = _ptp_clock_version_type_info_internal;
    watch_new_blocks();
    ptp_clock_version *version = ptp_clock_version_create(handle, test_class);
    expect_notified(version, {allocated_variant_byte, variant_byte, type_pointer, flag_byte});
    expect_counted(&row(record).created);
    EXPECT_EQ(block_size(version), 16u);
    EXPECT_EQ(header(version).type_info, &record);
    EXPECT_EQ(header(version).variant, 0);
    EXPECT_EQ(header(version).allocated_variant, 0);
    EXPECT_EQ(header(version).flags, 0);
    EXPECT_EQ(value_of(version), 0u);

    ptp_clock_version_destroy_internal(handle, test_class, version, 0);
    EXPECT_EQ(blocks_out(), 1u);
    ptp_clock_version_destroy(handle, test_class, version);
    EXPECT_EQ(blocks_out(), 0u);
    expect_notified(version, {}, {type_pointer});
    expect_counted(&row(record).destroyed);

    ptp_clock_version_destroy(handle, test_class, nullptr);
    expect_none_counted();
}

TEST_F(enumeration_test, every_type_has_the_same_life_and_shape) {
    for (const ptp_cfg_type *type : types_of(PTP_CFG_ENUMERATION)) {
        const ptp_cfg_type_description description = describe(type);
        SCOPED_TRACE(description.name);
        EXPECT_EQ(description.operations->instance_size(handle), 16u);
        void *instance = description.operations->create(handle, test_class);
        EXPECT_EQ(description.operations->len(handle, test_class, instance), 5u);
        const vela_type_info *record = header(instance).type_info;
        EXPECT_STREQ(record->type_name, description.name);
        EXPECT_STREQ(record->kind, "enum");
        EXPECT_EQ(header(instance).variant, description.newest_variant);
        expect_counted(&row(*record, description.newest_variant).created);
        description.operations->destroy(handle, test_class, instance);
        expect_counted(&row(*record, description.newest_variant).destroyed);
        for (int i = 0; i < record->variant_table->count; ++i) {
            EXPECT_EQ(row(*record, i).used_length, 16u);
            EXPECT_EQ(row(*record, i).alloc_slop, 0u);
        }
    }
}

TEST_F(enumeration_test, variants_beyond_the_table_count_in_its_last_row) {
    const old_domain domain({{"ptp_clock_version", 5}});
    vela_handle_set_domain(handle, domain);
    const vela_type_info &record = _ptp_clock_version_type_info_internal;
    ptp_clock_version *version = ptp_clock_version_create(handle, test_class);
    EXPECT_EQ(header(version).variant, 5);  // not limited: it admits values that this release does not know
    expect_counted_after_a_trace(&row(record).created);
    expect_trace("ptp_clock_version", BITLOG_INFORMATIONAL, "variant 5 requested only 1 variants present", 2);
    ptp_clock_version_destroy(handle, test_class, version);
    expect_counted_after_a_trace(&row(record).destroyed);
    expect_trace("ptp_clock_version", BITLOG_INFORMATIONAL, "variant 5 requested only 1 variants present", 6);

    vela_handle_set_domain(handle, nullptr);
    version = ptp_clock_version_create(handle, test_class);
    forget_counted();
    header(version).variant = -3;
    ptp_clock_version_destroy(handle, test_class, version);
    expect_counted(&row(record).destroyed);
}

TEST_F(enumeration_test, a_shared_record_counts_for_itself) {
    open(0, 1);
    const vela_type_info &record = _ptp_clock_profile_type_info_internal;
    const u_int64 created = row(record, 1).created;
    owned<ptp_clock_profile> profile = make_profile();
    const vela_type_info *copy = header(profile.get()).type_info;
    EXPECT_NE(copy, &record);
    EXPECT_STREQ(copy->luid_text, record.luid_text);
    EXPECT_NE(copy->shared, 0u);
    EXPECT_EQ(row(*copy, 1).created, 1u);
    EXPECT_EQ(row(record, 1).created, created);
    expect_counted(&row(*copy, 1).created);
}

TEST_F(enumeration_test, initialise_in_the_callers_memory) {
    alignas(8) u_int8 memory[16];
    memset(memory, 0x40, sizeof memory);
    ptp_clock_version *version = reinterpret_cast<ptp_clock_version *>(memory);
    const vela_type_info *record = &_ptp_clock_version_type_info_internal;
    watch(memory, sizeof memory);
    ptp_clock_version_initialize(handle, test_class, version, record, 1, 0, 0x04, nullptr, &err);
    expect_notified(memory, {allocated_variant_byte, variant_byte, type_pointer, flag_byte});
    EXPECT_EQ(header(memory).type_info, record);
    EXPECT_EQ(header(memory).flags, 0x44);
    EXPECT_EQ(value_of(memory), 0x40404040u);

    memset(memory, 0x40, sizeof memory);
    watch(memory, sizeof memory);
    ptp_clock_version_initialize(handle, test_class, version, record, 0, 0, 0x04, nullptr, &err);
    expect_notified(memory, {}, {{0, 11}});
    expect_none_counted();

    header(memory).type_info = nullptr;
    err = VELA_ENOSPC;
    ptp_clock_version_initialize(handle, test_class, version, record, 1, 0, 0x04, nullptr, &err);
    EXPECT_EQ(header(memory).type_info, nullptr);
    err = 0;

    ptp_clock_version_initialize(handle, test_class, nullptr, record, 1, 0, 0, nullptr, &err);
    expect_error(VELA_EINVAL);
}

// ---- header operations -----------------------------------------------------------------------------------------------

TEST_F(enumeration_test, embedded_mark) {
    owned<ptp_clock_version> version = make_version();
    watch(version.get(), 16);
    ptp_clock_version_set_instance_embedded(handle, test_class, version.get());
    expect_notified(version.get(), {flag_byte});
    EXPECT_EQ(header(version.get()).flags, VELA_FLAG_EMBEDDED);
    ptp_clock_version_set_instance_embedded(handle, test_class, nullptr);
    expect_trace("ptp_clock_version", BITLOG_ERROR, "Invalid object handle passed to set embedded flag", 8);
}

TEST_F(enumeration_test, object_identifiers_and_references) {
    owned<ptp_clock_version> version = make_version();
    void *output = &output;
    vela_store_err(handle, 99);
    EXPECT_EQ(ptp_clock_version_get_oid_count(handle, test_class, version.get(), &err), 0u);
    expect_ok();
    ptp_clock_version_get_object_references(handle, test_class, version.get(), &output, 1, &err);
    EXPECT_EQ(output, &output);
    expect_ok();

    EXPECT_EQ(ptp_clock_version_get_oid_count(handle, test_class, nullptr, &err), 0u);
    expect_error(VELA_EINVAL);
    expect_trace("ptp_clock_version", BITLOG_ERROR, "Invalid object passed in to get object oid count", 10);
    ptp_clock_version_get_object_references(handle, test_class, nullptr, &output, 1, &err);
    expect_error(VELA_EINVAL);
    expect_trace("ptp_clock_version", BITLOG_ERROR, "Cannot get table references. Invalid object passed on", 12);

    err = VELA_ENOMEM;
    EXPECT_EQ(ptp_clock_version_get_oid_count(handle, test_class, version.get(), &err), 0u);
    expect_trace("ptp_clock_version", BITLOG_ERROR, "Error already present in call to get object oid count", 9);
    ptp_clock_version_get_object_references(handle, test_class, version.get(), &output, 1, &err);
    expect_trace("ptp_clock_version", BITLOG_ERROR, "Error present in call to get table references from object", 11);
    EXPECT_EQ(err, u_int32{VELA_ENOMEM});
    err = 0;
}

TEST_F(enumeration_test, identity_and_variant_limit) {
    owned<ptp_clock_version> version = make_version();
    u_int8 luid[16];
    ptp_clock_version_get_luid(handle, test_class, version.get(), luid, &err);
    EXPECT_EQ(luid[0], 0x85);
    EXPECT_EQ(luid[15], 0x4c);
    ptp_clock_version_get_luid(handle, test_class, nullptr, luid, &err);
    expect_error(VELA_EINVAL);

    EXPECT_EQ(ptp_clock_version_variant_data_index_cap(0), 0);
    EXPECT_EQ(ptp_clock_version_variant_data_index_cap(1), 0);
    EXPECT_EQ(ptp_clock_profile_variant_data_index_cap(1), 1);
    EXPECT_EQ(ptp_clock_profile_variant_data_index_cap(127), 1);
    EXPECT_EQ(ptp_clock_profile_variant_data_index_cap(0xFE), -2);
    EXPECT_EQ(ptp_clock_version_adjust_variant(handle, test_class, version.get(), &err), 0u);
}

// ---- chains ------------------------------------------------------------------------------------------------------------

TEST_F(enumeration_test, chained_life) {
    chain();
    ptp_clock_version *version = ptp_clock_version_create_cr(handle);
    EXPECT_EQ(handle->chained_mode, 0u);
    EXPECT_EQ(ptp_clock_version_len_cr(handle), 5u);
    ptp_clock_version_destroy_cr(handle, version);
    EXPECT_EQ(blocks_out(), 0u);
}

TEST_F(enumeration_test, chain_after_a_failure) {
    fail_allocation(1);
    EXPECT_EQ(ptp_clock_version_create(handle, test_class), nullptr);
    expect_ok();

    chain();
    forget_counted();
    fail_allocation(1);
    ptp_clock_version *standin = ptp_clock_version_create_cr(handle);
    ASSERT_NE(standin, nullptr);
    EXPECT_EQ(handle->chained_err, u_int32{VELA_ENOMEM});
    EXPECT_EQ(ptp_clock_version_create_cr(handle), standin);
    EXPECT_NE(static_cast<void *>(ptp_clock_profile_create_cr(handle)), standin);
    EXPECT_EQ(blocks_out(), 0u);

    char buffer[64];
    EXPECT_EQ(ptp_clock_version_len_cr(handle), 0u);
    EXPECT_EQ(ptp_clock_version_print_cr(handle, standin, buffer, sizeof buffer), 0xFFFFFFFFu);
    EXPECT_EQ(ptp_clock_version_toxml_cr(handle, standin, buffer, sizeof buffer), 0xFFFFFFFFu);
    EXPECT_EQ(value_of(standin), 0u);
    ptp_clock_version_destroy_cr(handle, standin);
    ptp_clock_version_destroy(handle, chained_class, standin);
    expect_none_counted();
    expect_chained_error(VELA_ENOMEM);
}

}  // namespace
}  // namespace ptp_cfg_test
