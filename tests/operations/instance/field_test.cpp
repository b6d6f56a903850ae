// Access to single fields and to all values at once.
#include "layout.h"
#include "ptp_cfg/clock.h"
#include "ptp_cfg/commands.h"
#include "ptp_cfg/data_sets.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/port_stream.h"
#include "recording_handle.h"

namespace ptp_cfg_test {
namespace {

class field_test : public family_test {
  protected:
    owned<ptp_clock_quality> make_quality() {
        return own(ptp_clock_quality_create(handle, test_class), ptp_clock_quality_destroy);
    }
    owned<ptp_port> make_port() { return own(ptp_port_create(handle, test_class), ptp_port_destroy); }
    /** An instance of an older revision. */
    owned<ptp_utc_offset> make_offset(int8 variant) {
        const old_domain domain({{"ptp_utc_offset", variant}});
        vela_handle_set_domain(handle, domain);
        owned<ptp_utc_offset> offset = own(ptp_utc_offset_create(handle, test_class), ptp_utc_offset_destroy);
        vela_handle_set_domain(handle, nullptr);
        return offset;
    }
    void expect_not_tracked(const char *type) {
        expect_error(VELA_EINVAL);
        expect_trace(type, BITLOG_INFORMATIONAL, "The object is not state tracked", 19);
    }
};

// ---- one field ---------------------------------------------------------------------------------------------------------

TEST_F(field_test, numbers_of_every_width) {
    owned<ptp_unicast_negotiation> limits =
        own(ptp_unicast_negotiation_create(handle, test_class), ptp_unicast_negotiation_destroy);
    ptp_unicast_negotiation_max_announce_rate_set_value(handle, test_class, limits.get(), -128, &err);
    ptp_unicast_negotiation_max_sync_rate_set_value(handle, test_class, limits.get(), 127, &err);
    ptp_unicast_negotiation_max_sync_grant_secs_set_value(handle, test_class, limits.get(), 0xFFFFFFFF, &err);
    ptp_unicast_negotiation_enabled_set_value(handle, test_class, limits.get(), 1, &err);
    EXPECT_EQ(ptp_unicast_negotiation_max_announce_rate_get_value(handle, test_class, limits.get(), &err), -128);
    EXPECT_EQ(ptp_unicast_negotiation_max_sync_rate_get_value(handle, test_class, limits.get(), &err), 127);
    EXPECT_EQ(ptp_unicast_negotiation_max_sync_grant_secs_get_value(handle, test_class, limits.get(), &err),
              0xFFFFFFFF);
    EXPECT_EQ(ptp_unicast_negotiation_max_announce_grant_secs_get_value(handle, test_class, limits.get(), &err), 0u);
    EXPECT_EQ(ptp_unicast_negotiation_enabled_get_value(handle, test_class, limits.get(), &err), 1u);

    owned<ptp_clock> clock = own(ptp_clock_create(handle, test_class), ptp_clock_destroy);
    const u_int64 wide = 0x0123456789ABCDEF;
    ptp_clock_clock_handle_set(handle, test_class, clock.get(), &wide, &err);
    EXPECT_EQ(ptp_clock_clock_handle_get_value(handle, test_class, clock.get(), &err), wide);
    EXPECT_EQ(*ptp_clock_clock_handle_get(handle, test_class, clock.get(), &err), wide);
    EXPECT_EQ(ptp_clock_modify_get_value(handle, test_class, clock.get(), &err), 0u);

    owned<ptp_clock_parent_data_set> parent =
        own(ptp_clock_parent_data_set_create(handle, test_class), ptp_clock_parent_data_set_destroy);
    const int32 rate = INT32_MIN;
    ptp_clock_parent_data_set_observed_parent_clock_phase_change_rate_set(handle, test_class, parent.get(), &rate,
                                                                          &err);
    ptp_clock_parent_data_set_observed_parent_offset_scaled_log_variance_set_value(handle, test_class, parent.get(), -2,
                                                                                   &err);
    EXPECT_EQ(ptp_clock_parent_data_set_observed_parent_clock_phase_change_rate_get_value(handle, test_class,
                                                                                          parent.get(), &err),
              rate);
    EXPECT_EQ(ptp_clock_parent_data_set_observed_parent_offset_scaled_log_variance_get_value(handle, test_class,
                                                                                             parent.get(), &err),
              -2);
}

TEST_F(field_test, addresses_and_routing_instances) {
    owned<ptp_port> port = make_port();
    const ip_address ip = {VELA_IP_V4, 0, {192, 0, 2, 1}, {}};
    const en_address mac = {{2, 0, 0, 0, 0, 9}};
    const vrf_info vrf = {77, 10, 1, 1, 0};
    ptp_port_local_addr_set(handle, test_class, port.get(), &ip, &err);
    ptp_port_local_mac_addr_set(handle, test_class, port.get(), &mac, &err);
    ptp_port_vrf_set(handle, test_class, port.get(), &vrf, &err);
    EXPECT_EQ(memcmp(ptp_port_local_addr_get(handle, test_class, port.get(), &err), &ip, sizeof ip), 0);
    EXPECT_EQ(memcmp(ptp_port_local_mac_addr_get(handle, test_class, port.get(), &err), &mac, sizeof mac), 0);
    EXPECT_EQ(memcmp(ptp_port_vrf_get(handle, test_class, port.get(), &err), &vrf, sizeof vrf), 0);
    ptp_port_vrf_set(handle, test_class, port.get(), nullptr, &err);
    expect_error(VELA_EINVAL);
}

TEST_F(field_test, enumerations_by_value_and_as_instances) {
    owned<ptp_clock_quality> quality = make_quality();
    ptp_clock_quality_clock_accuracy_set_value(handle, test_class, quality.get(), 18, &err);
    EXPECT_EQ(ptp_clock_quality_clock_accuracy_get_value(handle, test_class, quality.get(), &err), 18u);
    ptp_clock_accuracy *field = ptp_clock_quality_clock_accuracy_get(handle, test_class, quality.get(), &err);
    EXPECT_EQ(ptp_clock_accuracy_get_value(handle, test_class, field, &err), 18u);

    owned<ptp_clock_accuracy> source = own(ptp_clock_accuracy_create(handle, test_class), ptp_clock_accuracy_destroy);
    ptp_clock_accuracy_set_value(handle, test_class, source.get(), 3, &err);
    ptp_clock_quality_clock_accuracy_set(handle, test_class, quality.get(), source.get(), &err);
    EXPECT_EQ(ptp_clock_quality_clock_accuracy_get_value(handle, test_class, quality.get(), &err), 3u);
    EXPECT_EQ(header(field).flags, VELA_FLAG_NESTED) << "it still lies in its parent";

    // The instance in the field decides which values it takes.
    ptp_clock_quality_clock_accuracy_set_value(handle, test_class, quality.get(), 19, &err);
    expect_epoch_error();
    header(source.get()).variant = 1;
    ptp_clock_accuracy_set_value(handle, test_class, source.get(), 19, &err);
    ptp_clock_quality_clock_accuracy_set(handle, test_class, quality.get(), source.get(), &err);
    expect_epoch_error();
    EXPECT_EQ(ptp_clock_quality_clock_accuracy_get_value(handle, test_class, quality.get(), &err), 3u);
    header(field).variant = 1;
    ptp_clock_quality_clock_accuracy_set_value(handle, test_class, quality.get(), 19, &err);
    expect_ok();

    const old_domain domain({{"ptp_clock_profile", 0}});
    vela_handle_set_domain(handle, domain);
    owned<ptp_clock> clock = own(ptp_clock_create(handle, test_class), ptp_clock_destroy);
    vela_handle_set_domain(handle, nullptr);
    ptp_clock_clk_profile_set_value(handle, test_class, clock.get(), VELA_PTP_PHASE_PROFILE_G8275_2, &err);
    expect_epoch_error();
    ptp_clock_clk_profile_set_value(handle, test_class, clock.get(), VELA_PTP_PHASE_PROFILE_G8275_1, &err);
    EXPECT_EQ(ptp_clock_clk_profile_get_value(handle, test_class, clock.get(), &err), 4u);
}

/** A value whose every byte differs from what a new instance holds. */
u_int64 striking_value(const ptp_cfg_field_description &field) {
    return field.kind == PTP_CFG_FIELD_BOOLEAN || field.kind == PTP_CFG_FIELD_ENUMERATION ? 1 : 0x8182838485868788;
}
u_int64 as_stored(const ptp_cfg_field_description &field, u_int64 value) {
    const int bits = 64 - 8 * field.element_size;
    switch (field.kind) {
        case PTP_CFG_FIELD_UNSIGNED:
            return value << bits >> bits;
        case PTP_CFG_FIELD_SIGNED:
            return static_cast<u_int64>(static_cast<int64_t>(value << bits) >> bits);
        default:
            return value;
    }
}

TEST_F(field_test, setters_announce_the_value_and_its_flag_in_every_type) {
    for (u_int32 tracking : {0, int{VELA_STTR_OFF}, int{VELA_STTR_ON}}) {
        open(tracking);
        for (const ptp_cfg_type *type : types_of(PTP_CFG_STRUCTURE)) {
            const ptp_cfg_type_description description = describe(type);
            owned<void> owner = create(type);
            void *instance = owner.get();
            watch(instance, block_size(instance));
            for (u_int32 i = 0; i < description.field_count; ++i) {
                const ptp_cfg_field_description field = describe_field(type, i);
                if (field.is_read_only || field.kind > PTP_CFG_FIELD_BOOLEAN) {
                    if (field.kind != PTP_CFG_FIELD_ENUMERATION) {
                        continue;
                    }
                }
                SCOPED_TRACE(std::string(description.name) + "." + field.name);
                const u_int32 last = field.capacity - 1;
                const u_int64 value = striking_value(field);
                ptp_cfg_field_set_value(type, i, handle, test_class, instance, last, value, &err);
                const void *place = ptp_cfg_field_get(type, i, handle, test_class, instance, last, &err);
                const size_t offset = distance(instance, place);
                std::vector<range> wanted = {field.kind == PTP_CFG_FIELD_ENUMERATION
                                                 ? range{offset + 12, 4}
                                                 : range{offset, field.element_size}};
                if (tracking == VELA_STTR_ON) {
                    const size_t flag = description.untracked_size + flag_position(type, i);
                    wanted.push_back({flag, 1});
                    EXPECT_EQ(byte_at(instance, flag), 2);
                    if (field.is_array) {
                        wanted.push_back({flag + 1 + last, 1});
                        EXPECT_EQ(byte_at(instance, flag + 1 + last), 2);
                    }
                }
                expect_notified(instance, wanted);
                EXPECT_EQ(ptp_cfg_field_get_value(type, i, handle, test_class, instance, last, &err),
                          as_stored(field, value));
                EXPECT_EQ(err, 0u);
            }
        }
    }
}

TEST_F(field_test, no_instance_is_a_missing_field_before_anything_else) {
    ptp_clock_quality_clock_class_get_value(handle, test_class, nullptr, &err);
    expect_epoch_error();
    EXPECT_EQ(ptp_clock_quality_clock_class_get(handle, test_class, nullptr, &err), nullptr);
    expect_epoch_error();
    ptp_clock_quality_clock_class_set_value(handle, test_class, nullptr, 1, &err);
    expect_epoch_error();
    ptp_clock_quality_clock_class_set(handle, test_class, nullptr, nullptr, &err);
    expect_epoch_error();
    ptp_clock_quality_clock_accuracy_set_value(handle, test_class, nullptr, 99, &err);
    expect_epoch_error();
    EXPECT_EQ(ptp_clock_quality_clock_accuracy_get(handle, test_class, nullptr, &err), nullptr);
    expect_epoch_error();
    EXPECT_EQ(ptp_clock_identity_ptp_clk_id_get(handle, test_class, nullptr, 8, &err), nullptr);
    expect_epoch_error();
    ptp_clock_identity_ptp_clk_id_set_value(handle, test_class, nullptr, 8, 1, &err);
    expect_epoch_error();
    ptp_port_port_name_set(handle, test_class, nullptr, nullptr, 5, &err);
    expect_epoch_error();
    u_int32 accuracy = 7;
    ptp_clock_quality_get_all(handle, test_class, nullptr, nullptr, nullptr, &accuracy, &err);
    EXPECT_EQ(accuracy, 0u);
    expect_epoch_error();
}

TEST_F(field_test, an_error_on_entry_stops_every_accessor) {
    open(VELA_STTR_ON);
    owned<ptp_clock_quality> quality = make_quality();
    ptp_clock_quality_set_all(handle, test_class, quality.get(), 248, -1, 2, &err);
    watch(quality.get(), 43);
    vela_store_err(handle, 99);
    err = VELA_ENOSPC;
    u_int8 clock_class = 1;
    EXPECT_EQ(ptp_clock_quality_clock_class_get(handle, test_class, quality.get(), &err), nullptr);
    EXPECT_EQ(ptp_clock_quality_clock_class_get_value(handle, test_class, quality.get(), &err), 0);
    EXPECT_EQ(ptp_clock_quality_clock_accuracy_get_value(handle, test_class, quality.get(), &err), 0u);
    ptp_clock_quality_clock_class_set_value(handle, test_class, quality.get(), 1, &err);
    ptp_clock_quality_clock_class_set(handle, test_class, quality.get(), &clock_class, &err);
    ptp_clock_quality_clock_accuracy_set_value(handle, test_class, quality.get(), 1, &err);
    ptp_clock_quality_set_all(handle, test_class, quality.get(), 1, 1, 1, &err);
    ptp_clock_quality_get_all(handle, test_class, quality.get(), &clock_class, nullptr, nullptr, &err);
    ptp_clock_quality_set(handle, test_class, quality.get(), nullptr, &err);
    EXPECT_EQ(clock_class, 1);
    EXPECT_EQ(err, u_int32{VELA_ENOSPC});
    EXPECT_EQ(handle->last_error.code, 99u) << "nothing was begun";
    expect_untouched();
    err = 0;
    ptp_clock_quality_clock_class_get(handle, test_class, quality.get(), &err);
    expect_ok();
}

TEST_F(field_test, setters_of_an_untracked_instance_store_and_complain) {
    open(VELA_STTR_OFF);
    owned<ptp_clock_quality> quality = make_quality();
    set_mode(VELA_STTR_ON);
    watch(quality.get(), 40);
    ptp_clock_quality_clock_class_set_value(handle, test_class, quality.get(), 6, &err);
    expect_not_tracked("ptp_clock_quality");
    EXPECT_EQ(ptp_clock_quality_clock_class_get_value(handle, test_class, quality.get(), &err), 6);
    EXPECT_EQ(take_notified(quality.get()).size(), 1u);

    owned<ptp_clock_quality> tracked = make_quality();
    set_mode(VELA_STTR_OFF);
    ptp_clock_quality_clock_class_set_value(handle, test_class, tracked.get(), 6, &err);
    EXPECT_EQ(byte_at(tracked.get(), 40), 0) << "switched off, no flag is touched";
}

// ---- older revisions -----------------------------------------------------------------------------------------------------

TEST_F(field_test, fields_of_a_later_revision_are_missing) {
    open(VELA_STTR_ON);
    for (int8 variant : {int8{0}, int8{1}, int8{2}}) {
        owned<ptp_utc_offset> offset = make_offset(variant);
        const ptp_cfg_type *type = type_named("ptp_utc_offset");
        for (u_int32 i = 0; i < describe(type).field_count; ++i) {
            const u_int32 expected = i == 0 || (i < 5 && variant >= 1) || variant == 2 ? 0 : VELA_EEPOCH;
            const auto expect_result = [&] {
                EXPECT_EQ(err, expected) << "field " << i << " at variant " << int{variant};
                err = 0;
            };
            watch(offset.get(), 47);
            ptp_cfg_field_set_value(type, i, handle, test_class, offset.get(), 0, 1, &err);
            expect_result();
            EXPECT_EQ(ptp_cfg_field_get_value(type, i, handle, test_class, offset.get(), 0, &err), expected == 0);
            expect_result();
            EXPECT_EQ(ptp_cfg_field_get(type, i, handle, test_class, offset.get(), 0, &err) == nullptr, expected != 0);
            expect_result();
            EXPECT_EQ(ptp_cfg_field_state_flag_get(type, i, handle, test_class, offset.get(), 0, &err),
                      expected == 0 ? 2 : 0);
            expect_result();
            ptp_cfg_field_state_flag_set(type, i, handle, test_class, offset.get(), 0, 9, &err);
            expect_result();
            if (expected != 0) {
                expect_untouched();
            }
        }
    }
    vela_clear_last_error(handle);
}

TEST_F(field_test, all_values_up_to_the_first_that_is_missing) {
    owned<ptp_utc_offset> offset = make_offset(1);
    ptp_utc_offset_set_all(handle, test_class, offset.get(), 37, 1, 31, 12, 2016, 5, 1, &err);
    expect_epoch_error();
    u_int16 utc_offset = 0;
    int16 leap[4] = {};
    u_int8 v_port_index = 99;
    vela_boolean valid = 99;
    ptp_utc_offset_get_all(handle, test_class, offset.get(), &utc_offset, &leap[0], &leap[1], &leap[2], &leap[3],
                           &v_port_index, &valid, &err);
    expect_epoch_error();
    EXPECT_EQ(utc_offset, 37);
    EXPECT_EQ(leap[0], 1);
    EXPECT_EQ(leap[3], 2016);
    EXPECT_EQ(v_port_index, 0);
    EXPECT_EQ(valid, 0u);
}

// ---- all values --------------------------------------------------------------------------------------------------------------

TEST_F(field_test, all_values_of_a_type_that_has_none) {
    owned<ptp_clock_identity> identity = own(ptp_clock_identity_create(handle, test_class), ptp_clock_identity_destroy);
    const auto both = [&](ptp_clock_identity *instance, auto &&expect) {
        vela_store_err(handle, 99);
        ptp_clock_identity_get_all(handle, test_class, instance, &err);
        expect();
        vela_store_err(handle, 99);
        ptp_clock_identity_get(handle, test_class, instance, &err);
        expect();
        vela_store_err(handle, 99);
        ptp_clock_identity_set_all(handle, test_class, instance, &err);
        expect();
    };
    watch(identity.get(), 32);
    both(identity.get(), [&] { expect_ok(); });
    both(nullptr, [&] { expect_epoch_error(); });
    header(identity.get()).variant = -1;
    both(identity.get(), [&] { expect_epoch_error(); });
    header(identity.get()).variant = 0;
    err = VELA_ENOSPC;
    both(nullptr, [&] { EXPECT_EQ(handle->last_error.code, 99u) << "an earlier error is left alone"; });
    err = 0;
    vela_clear_last_error(handle);
    expect_untouched();
}

TEST_F(field_test, set_all_stores_numbers_first_and_no_flags) {
    open(VELA_STTR_ON);
    owned<ptp_g8275_1_ql> level = own(ptp_g8275_1_ql_create(handle, test_class), ptp_g8275_1_ql_destroy);
    ptp_g8275_1_ql_set_all(handle, test_class, level.get(), 1, 2, 9, 1, 1, &err);  // 9: no such category
    expect_epoch_error();
    u_int8 clock_handle = 0;
    u_int8 v_port_index = 0;
    u_int32 category = 9;
    vela_boolean tod = 0;
    vela_boolean pps = 0;
    ptp_g8275_1_ql_get_all(handle, test_class, level.get(), &clock_handle, &v_port_index, &category, &tod, &pps, &err);
    EXPECT_EQ(clock_handle, 1);
    EXPECT_EQ(v_port_index, 2);
    EXPECT_EQ(category, 0u);
    EXPECT_EQ(tod, 1u);
    EXPECT_EQ(pps, 1u) << "a number behind the enumeration is stored before it";
    for (size_t i = 48; i < 53; ++i) {
        EXPECT_EQ(byte_at(level.get(), i), 0);
    }
    ptp_g8275_1_ql_get(handle, test_class, level.get(), &clock_handle, nullptr, nullptr, nullptr, nullptr, &err);
    EXPECT_EQ(clock_handle, 1);

    owned<ptp_clock_quality> quality = make_quality();
    const size_t accuracy =
        distance(quality.get(), ptp_clock_quality_clock_accuracy_get(handle, test_class, quality.get(), &err));
    const size_t variance =
        distance(quality.get(), ptp_clock_quality_offset_scaled_log_var_get(handle, test_class, quality.get(), &err));
    const size_t clock_class =
        distance(quality.get(), ptp_clock_quality_clock_class_get(handle, test_class, quality.get(), &err));
    watch(quality.get(), 43);
    ptp_clock_quality_set_all(handle, test_class, quality.get(), 248, -1, 18, &err);
    expect_notified(quality.get(), {{clock_class, 1}, {variance, 2}, {accuracy + 12, 4}});
    ptp_clock_quality_set_all(handle, test_class, quality.get(), 6, 5, 19, &err);
    expect_epoch_error();
    expect_notified(quality.get(), {{clock_class, 1}, {variance, 2}});
}

}  // namespace
}  // namespace ptp_cfg_test
