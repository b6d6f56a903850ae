// Destroying structures that others refer to, or whose addresses refer to others.
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "ptp_cfg/port_stream.h"
#include "recording_handle.h"
#include "velalib/object_reference.h"

namespace ptp_cfg_test {
namespace {

void destroy_object(vela_handle *handle, u_int32 mem_class, void *instance) {
    ptp_stream_delete_destroy(handle, mem_class, static_cast<ptp_stream_delete *>(instance));
}

/** Objects and holders are both ptp_stream_delete: it has one address field. */
class object_reference_test : public family_test, public testing::WithParamInterface<hook_set> {
  protected:
    object_reference_test() { use_hooks(GetParam()); }
    ptp_stream_delete *make() { return ptp_stream_delete_create(handle, test_class); }
    ptp_stream_delete *make_object() {
        ptp_stream_delete *object = make();
        vela_oid_mapping_attach(handle, test_class, object, destroy_object, &err);
        return object;
    }
    void destroy(ptp_stream_delete *instance) { ptp_stream_delete_destroy(handle, test_class, instance); }
    en_address *address_of(ptp_stream_delete *instance) {
        return ptp_stream_delete_stream_mac_addr_get(handle, test_class, instance, &err);
    }
    void refer(ptp_stream_delete *holder, void *object) {
        en_address_attach_reference(handle, test_class, address_of(holder), object, &err);
    }
    void expect_destroy_trace(u_int32 level, const std::string &text, int position) {
        expect_trace("ptp_stream_delete", level, "ptp_stream_delete destroy: " + text, position);
    }
    /** Destroy reports only through the handle. */
    void expect_stored(u_int32 code) {
        EXPECT_EQ(handle->last_error.code, code);
        vela_clear_last_error(handle);
    }
};

TEST_P(object_reference_test, an_object_without_references_goes_at_once) {
    destroy(make_object());
    EXPECT_EQ(blocks_out(), 0u);
    expect_destroy_trace(BITLOG_INFORMATIONAL, "Successfully removed OID mapping", 15);
}

TEST_P(object_reference_test, a_referenced_object_goes_with_the_last_holder) {
    ptp_stream_delete *object = make_object();
    ptp_stream_delete *first = make();
    ptp_stream_delete *second = make();
    refer(first, object);
    refer(second, object);
    refer(second, object);
    forget_counted();
    destroy(object);
    expect_destroy_trace(BITLOG_INFORMATIONAL,
                         "Object has references and will be cleaned up when all of them are released", 14);
    expect_none_counted();  // it still lives
    destroy(first);
    EXPECT_EQ(blocks_out(), 2u);
    EXPECT_EQ(vela_oid_reference_count(handle, object), 2u);
    destroy(second);
    EXPECT_EQ(blocks_out(), 0u);
    EXPECT_EQ(steps_counted(), 3u);
}

TEST_P(object_reference_test, a_mapping_that_cannot_be_removed_stops_destroy) {
    ptp_stream_delete *object = make();
    forget_counted();
    header(object).flags |= VELA_FLAG_OID;  // the runtime knows of none
    destroy(object);
    expect_destroy_trace(BITLOG_ERROR,
                         std::string("Failed to remove oid mapping for object. Error ") + strerror(ENOENT), 13);
    expect_stored(VELA_ENOENT);
    EXPECT_EQ(blocks_out(), 1u);
    expect_none_counted();
    header(object).flags = 0;
    destroy(object);
}

TEST_P(object_reference_test, a_mapping_of_a_nested_instance_stops_only_that) {
    for (const char *name : {"ptp_port_identity", "ptp_ip_streams_arr", "ptp_stream_runtime_state_arr"}) {
        for (const bool last : {false, true}) {
            const ptp_cfg_type *type = type_named(name);
            owned<void> instance = create(type);
            std::vector<void *> nested;
            for_each_header(type, handle, instance.get(), [&](const ptp_cfg_type *nested_type, void *each) {
                if (each != instance.get() && describe(nested_type).kind == PTP_CFG_STRUCTURE) {
                    nested.push_back(each);
                }
            });
            void *marked = last ? nested.back() : nested.front();
            header(marked).flags |= VELA_FLAG_OID;
            const vela_type_info *record = header(marked).type_info;
            const u_int64 before = record->variant_table->rows[0].destroyed;
            const auto alike = std::count_if(nested.begin(), nested.end(),
                                             [&](const void *each) { return header(each).type_info == record; });
            instance.reset();
            const std::string subject = record->type_name;
            const std::string text = " destroy: Failed to remove oid mapping for object. Error ";
            expect_trace(subject, BITLOG_ERROR, subject + text + strerror(ENOENT), 13);
            EXPECT_EQ(record->variant_table->rows[0].destroyed, before + static_cast<u_int64>(alike) - 1) << name;
            vela_clear_last_error(handle);
        }
    }
}

TEST_P(object_reference_test, references_that_cannot_be_listed_stop_destroy) {
    ptp_stream_delete *object = make_object();
    ptp_stream_delete *holder = make();
    refer(holder, object);
    refer(holder, nullptr);  // an object that is not known yet
    forget_counted();
    destroy(holder);
    const std::string failed = "Failed to get oid references from object. Error ";
    expect_destroy_trace(BITLOG_ERROR, failed + strerror(ENOENT), 16);
    EXPECT_EQ(blocks_out(), 2u) << "the list is temporary, the instance stays";
    EXPECT_EQ(vela_oid_reference_count(handle, object), 1u);

    fail_allocation(1);
    destroy(holder);
    expect_destroy_trace(BITLOG_ERROR, failed + strerror(ENOMEM), 16);
    EXPECT_EQ(blocks_out(), 2u);
    expect_none_counted();

    vela_address_references_drop(handle, address_of(holder));
    destroy(holder);
    vela_oid_mapping_detach(handle, test_class, object, &err);
    destroy(object);
    vela_clear_last_error(handle);
}

TEST_P(object_reference_test, a_reference_that_cannot_be_released_is_passed_over) {
    ptp_stream_delete *lost = make_object();
    ptp_stream_delete *object = make_object();
    ptp_stream_delete *holder = make();
    refer(holder, lost);
    refer(holder, object);
    vela_oid_mapping_detach(handle, test_class, lost, &err);
    destroy(holder);
    char address[32];
    snprintf(address, sizeof address, "%p", static_cast<void *>(lost));
    expect_destroy_trace(BITLOG_ERROR,
                         std::string("Failed to decrement ref count of oid ") + address + ". Error " + strerror(ENOENT),
                         17);
    EXPECT_EQ(blocks_out(), 2u);
    EXPECT_EQ(vela_oid_reference_count(handle, object), 0u);
    destroy(lost);
    destroy(object);
    expect_destroy_trace(BITLOG_INFORMATIONAL, "Successfully removed OID mapping", 15);
    vela_clear_last_error(handle);
}

TEST_P(object_reference_test, addresses_of_nested_instances_and_elements_release_theirs) {
    ptp_stream_delete *object = make_object();
    owned<ptp_ipv4_streams_arr> array =
        own(ptp_ipv4_streams_arr_create(handle, test_class), ptp_ipv4_streams_arr_destroy);
    for (u_int32 i : {0u, 127u}) {
        ptp_ipv4_stream_id *element = ptp_ipv4_streams_arr_streams_get(handle, test_class, array.get(), i, &err);
        en_address_attach_reference(handle, test_class,
                                    ptp_ipv4_stream_id_mac_addr_get(handle, test_class, element, &err), object, &err);
    }
    EXPECT_EQ(vela_oid_reference_count(handle, object), 2u);
    ptp_ipv4_streams_arr_destroy_internal(handle, test_class, array.get(), 0);
    EXPECT_EQ(vela_oid_reference_count(handle, object), 0u) << "released once, not again with the array";
    array.reset();
    EXPECT_EQ(vela_oid_reference_count(handle, object), 0u);

    // The types that are known to hold addresses, directly or in what they nest: each lets go of all.
    for (const char *name :
         {"ptp_port", "ptp_stream", "ptp_stream_params", "ptp_current_selected_master_info", "ptp_stream_runtime_state",
          "ptp_ipv4_stream_id", "ptp_ip_stream_id", "ptp_master_attribute", "ptp_bmca_current_mst_details",
          "ptp_ipv4_streams_arr", "ptp_ip_streams_arr", "ptp_stream_runtime_state_arr", "ptp_bmca_data"}) {
        SCOPED_TRACE(name);
        const ptp_cfg_type *type = type_named(name);
        owned<void> holder = create(type);
        u_int32 held = 0;
        for_each_header(type, handle, holder.get(), [&](const ptp_cfg_type *of, void *instance) {
            for (u_int32 i = 0; i < describe(of).field_count; ++i) {
                if (std::string(describe_field(of, i).type_name) == "en_address") {
                    void *field = ptp_cfg_field_get(of, i, handle, test_class, instance, 0, &err);
                    en_address_attach_reference(handle, test_class, static_cast<en_address *>(field), object, &err);
                    ++held;
                }
            }
        });
        EXPECT_GE(held, 1u);
        EXPECT_EQ(vela_oid_reference_count(handle, object), held);
        holder.reset();
        EXPECT_EQ(vela_oid_reference_count(handle, object), 0u);
    }
    destroy(object);
    expect_destroy_trace(BITLOG_INFORMATIONAL, "Successfully removed OID mapping", 15);
}

INSTANTIATE_TEST_SUITE_P(handles, object_reference_test, testing::Values(all_hooks, no_hooks, write_hook, counter_hook),
                         name_of_hooks);

}  // namespace
}  // namespace ptp_cfg_test
