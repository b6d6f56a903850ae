// Corruption that nothing can be salvaged from ends the process, with a trace that says what was found.
#include <sys/mman.h>

#include "ptp_cfg/clock.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/messages.h"
#include "ptp_cfg/port_stream.h"
#include "recording_handle.h"

namespace ptp_cfg_test {
namespace {

class abort_test : public family_test, public testing::WithParamInterface<hook_set> {
  protected:
    abort_test() {
        GTEST_FLAG_SET(death_test_style, "fast");
        use_hooks(GetParam());
        last_counted = static_cast<const void **>(
            mmap(nullptr, sizeof(void *), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    }
    ~abort_test() override { munmap(last_counted, sizeof(void *)); }
};

/** The chance that a record is sound is only taken away in the process that dies. */
#define EXPECT_ABORT(statement, trace) EXPECT_EXIT(statement, testing::KilledBySignal(SIGABRT), trace)

constexpr char corrupted[] = "Corrupted VELA Handle";

TEST_P(abort_test, unknown_tracking_mode_in_structure_operations) {
    open(VELA_STTR_ON);
    owned<ptp_clock_identity> owner = own(ptp_clock_identity_create(handle, test_class), ptp_clock_identity_destroy);
    owned<ptp_clock_identity> other = own(ptp_clock_identity_create(handle, test_class), ptp_clock_identity_destroy);
    owned<ptp_clock_quality> owned_quality =
        own(ptp_clock_quality_create(handle, test_class), ptp_clock_quality_destroy);
    ptp_clock_identity *identity = owner.get();
    ptp_clock_quality *quality = owned_quality.get();
    u_int8 bytes[512] = {};
    u_int8 *flags = nullptr;
    u_int8 encoding[64];
    const u_int32 length = ptp_clock_quality_marshal(handle, test_class, encoding, quality, sizeof encoding, &err);

    set_mode(0x1234);
    EXPECT_ABORT(ptp_clock_quality_sizeof(handle), corrupted);
    EXPECT_ABORT(ptp_clock_quality_create(handle, test_class), corrupted);
    EXPECT_ABORT(ptp_clock_quality_create_cr(handle), corrupted);
    EXPECT_ABORT(ptp_clock_quality_initialize(handle, test_class, quality, &_ptp_clock_quality_type_info_internal, 0, 1,
                                              0, nullptr, &err),
                 corrupted);
    EXPECT_ABORT(ptp_clock_quality_len(handle, test_class, quality), corrupted);
    EXPECT_ABORT(ptp_clock_quality_len_cr(handle, quality), corrupted);
    EXPECT_ABORT(ptp_clock_quality_marshal(handle, test_class, bytes, quality, 100, &err), corrupted);
    EXPECT_ABORT(ptp_clock_quality_marshal_for_clone(handle, test_class, bytes, quality, 100, &err), corrupted);
    EXPECT_ABORT(
        ptp_clock_quality_unmarshal(handle, test_class, encoding, quality, static_cast<int32>(length), 0, &err),
        corrupted);
    EXPECT_ABORT(ptp_clock_quality_clone_cr(handle, quality), corrupted);
    EXPECT_ABORT(ptp_clock_quality_copy_cr(handle, quality, quality), corrupted);
    EXPECT_ABORT(ptp_clock_identity_set(handle, test_class, identity, other.get(), &err), corrupted);
    EXPECT_ABORT(ptp_clock_quality_to_xml(handle, test_class, "q", reinterpret_cast<char *>(bytes), quality,
                                          sizeof bytes, 0, &err),
                 corrupted);
    EXPECT_ABORT(ptp_clock_identity_to_xml(handle, test_class, "i", reinterpret_cast<char *>(bytes), identity,
                                           sizeof bytes, 0, &err),
                 corrupted);

    // Setters of every kind of field.
    const u_int8 one = 1;
    EXPECT_ABORT(ptp_clock_quality_clock_class_set_value(handle, test_class, quality, 1, &err), corrupted);
    EXPECT_ABORT(ptp_clock_quality_clock_class_set(handle, test_class, quality, &one, &err), corrupted);
    EXPECT_ABORT(ptp_clock_quality_clock_accuracy_set_value(handle, test_class, quality, 1, &err), corrupted);
    EXPECT_ABORT(ptp_clock_identity_ptp_clk_id_set_value(handle, test_class, identity, 0, 1, &err), corrupted);
    EXPECT_ABORT(ptp_clock_identity_ptp_clk_id_set(handle, test_class, identity, 0, &one, &err), corrupted);
    EXPECT_ABORT(ptp_clock_identity_ptp_clk_id_set_mem(handle, test_class, identity, bytes, 8, &err), corrupted);
    EXPECT_ABORT(ptp_clock_identity_ptp_clk_id_set_mem_cr(handle, identity, bytes, 8), corrupted);

    // State flags.
    EXPECT_ABORT(ptp_clock_quality_clock_class_state_flag_get(handle, test_class, quality, &err), corrupted);
    EXPECT_ABORT(ptp_clock_quality_clock_class_state_flag_set(handle, test_class, quality, 1, &err), corrupted);
    EXPECT_ABORT(ptp_clock_quality_set_all_state_tracking_flag(handle, test_class, quality, 1), corrupted);
    EXPECT_ABORT(ptp_clock_identity_ptp_clk_id_state_flag_get(handle, test_class, identity, 0, &err), corrupted);
    EXPECT_ABORT(ptp_clock_identity_ptp_clk_id_state_flag_set(handle, test_class, identity, 0, 1, &err), corrupted);
    EXPECT_ABORT(ptp_clock_identity_ptp_clk_id_state_flag_whole_get(handle, test_class, identity, &err), corrupted);
    EXPECT_ABORT(ptp_clock_identity_ptp_clk_id_state_flag_whole_set(handle, test_class, identity, 1, &err), corrupted);
    EXPECT_ABORT(ptp_clock_identity_ptp_clk_id_state_flag_get_arr(handle, test_class, identity, &flags, &err),
                 corrupted);
    EXPECT_ABORT(ptp_clock_identity_ptp_clk_id_state_flag_set_arr(handle, test_class, identity, bytes, 8, &err),
                 corrupted);

    // What does not look at the mode goes on.
    EXPECT_EQ(ptp_clock_quality_clock_class_get_value(handle, test_class, quality, &err), 0);
    EXPECT_EQ(ptp_clock_quality_compare(quality, quality), 0);
    ptp_clock_quality_set(handle, test_class, quality, quality, &err);
    expect_ok();
}

TEST_P(abort_test, unknown_tracking_mode_in_containers_and_messages) {
    open(VELA_STTR_ON);
    owned<ptp_ipv4_streams_arr> array =
        own(ptp_ipv4_streams_arr_create(handle, test_class), ptp_ipv4_streams_arr_destroy);
    owned<ptp_ipv4_stream_id> element = own(ptp_ipv4_stream_id_create(handle, test_class), ptp_ipv4_stream_id_destroy);
    owned<ptp_port> port = own(ptp_port_create(handle, test_class), ptp_port_destroy);
    owned<ptp_clock_delete_cmd_message> message =
        own(ptp_clock_delete_cmd_message_create(handle, test_class), ptp_clock_delete_cmd_message_destroy);
    const ip_address address = {};
    u_int8 bytes[256] = {};

    set_mode(0x1234);
    EXPECT_ABORT(ptp_ipv4_streams_arr_streams_set(handle, test_class, array.get(), 0, element.get(), &err), corrupted);
    EXPECT_ABORT(ptp_port_local_addr_set(handle, test_class, port.get(), &address, &err), corrupted);
    EXPECT_ABORT(ptp_port_port_name_set(handle, test_class, port.get(), "uplink", 6, &err), corrupted);
    EXPECT_ABORT(ptp_port_port_name_set_cr(handle, port.get(), "uplink", 6), corrupted);
    EXPECT_ABORT(ptp_port_modify_set_value(handle, test_class, port.get(), 1, &err), corrupted);
    EXPECT_ABORT(ptp_clock_delete_cmd_message_create(handle, test_class), corrupted);
    EXPECT_ABORT(ptp_clock_delete_cmd_message_create_shallow(handle, test_class),
                 "ptp_clock_delete_cmd_message: Corrupted VELA Handle");
    EXPECT_ABORT(ptp_clock_delete_cmd_message_len(handle, test_class, message.get()), corrupted);
    EXPECT_ABORT(ptp_clock_delete_cmd_message_marshal(handle, test_class, bytes, message.get(), sizeof bytes, &err),
                 corrupted);
    set_mode(VELA_STTR_ON);
    forget_counted();
}

TEST_P(abort_test, every_structure_checks_the_mode) {
    open(VELA_STTR_ON);
    for (const ptp_cfg_type *type : types_of(PTP_CFG_STRUCTURE)) {
        const ptp_cfg_type_description description = describe(type);
        set_mode(0x1234);
        EXPECT_ABORT(description.operations->instance_size(handle), std::string(description.name) + ": " + corrupted);
    }
}

TEST_P(abort_test, record_without_a_variant_table) {
    owned<ptp_clock_version> version = own(ptp_clock_version_create(handle, test_class), ptp_clock_version_destroy);
    owned<ptp_clock_quality> quality = own(ptp_clock_quality_create(handle, test_class), ptp_clock_quality_destroy);
    owned<ptp_clock_delete_cmd_message> message =
        own(ptp_clock_delete_cmd_message_create(handle, test_class), ptp_clock_delete_cmd_message_destroy);
    const auto without_table = [](vela_type_info &record, auto &&operation) {
        record.variant_table = nullptr;
        operation();
    };
    EXPECT_ABORT(
        without_table(_ptp_clock_version_type_info_internal, [&] { ptp_clock_version_create(handle, test_class); }),
        "ptp_clock_version: varinfo is NULL");
    EXPECT_ABORT(without_table(_ptp_clock_version_type_info_internal,
                               [&] { ptp_clock_version_destroy(handle, test_class, version.get()); }),
                 "ptp_clock_version: varinfo is NULL");
    EXPECT_ABORT(
        without_table(_ptp_clock_quality_type_info_internal, [&] { ptp_clock_quality_create(handle, test_class); }),
        "ptp_clock_quality: varinfo is NULL");
    EXPECT_ABORT(without_table(_ptp_clock_quality_type_info_internal,
                               [&] { ptp_clock_quality_destroy(handle, test_class, quality.get()); }),
                 "ptp_clock_quality: varinfo is NULL");
    EXPECT_ABORT(without_table(_ptp_clock_delete_cmd_message_type_info_internal,
                               [&] { ptp_clock_delete_cmd_message_create(handle, test_class); }),
                 "ptp_clock_delete_cmd_message: varinfo is NULL");
    EXPECT_ABORT(without_table(_ptp_clock_delete_cmd_message_type_info_internal,
                               [&] { ptp_clock_delete_cmd_message_destroy(handle, test_class, message.get()); }),
                 "ptp_clock_delete_cmd_message: varinfo is NULL");
}

TEST_P(abort_test, type_pointer_that_is_none) {
    vela_type_info stranger = _ptp_clock_quality_type_info_internal;
    stranger.magic = 0xfeedbeef;
    for (const char *name : {"ptp_clock_version", "ptp_clock_quality", "ptp_clock_delete_cmd_message"}) {
        owned<void> instance = create(type_named(name));
        const auto destroy_with = [&](const vela_type_info *record) {
            header(instance.get()).type_info = record;
            describe(type_named(name)).operations->destroy(handle, test_class, instance.get());
        };
        const std::string trace = std::string(name) + ": tinfo is null or corrupted";
        EXPECT_ABORT(destroy_with(nullptr), trace);
        stranger.variant_table = static_record(type_named(name)).variant_table;
        EXPECT_ABORT(destroy_with(&stranger), trace);
        EXPECT_NE(*last_counted, &stranger.variant_table->rows[0].destroyed) << "counted before it was looked at";
    }
}

TEST_P(abort_test, corrupt_elements_and_what_they_hold) {
    owned<ptp_ipv4_streams_arr> streams =
        own(ptp_ipv4_streams_arr_create(handle, test_class), ptp_ipv4_streams_arr_destroy);
    vela_type_info stranger = _ptp_ipv4_stream_id_type_info_internal;
    stranger.magic = 0;
    const auto destroy_with = [&](void *instance, const vela_type_info *record) {
        header(instance).type_info = record;
        ptp_ipv4_streams_arr_destroy(handle, test_class, streams.get());
    };
    for (u_int32 i : {0u, 61u, 127u}) {
        ptp_ipv4_stream_id *element = ptp_ipv4_streams_arr_streams_get(handle, test_class, streams.get(), i, &err);
        void *held = ptp_ipv4_stream_id_port_hdl_get(handle, test_class, element, &err);
        EXPECT_ABORT(destroy_with(element, nullptr), "ptp_ipv4_stream_id: tinfo is null or corrupted");
        EXPECT_ABORT(destroy_with(element, &stranger), "ptp_ipv4_stream_id: tinfo is null or corrupted");
        EXPECT_ABORT(destroy_with(held, nullptr), "ptp_port_pd_hdl: tinfo is null or corrupted");
    }
}

TEST_P(abort_test, records_that_all_instances_share) {
    owned<ptp_port_identity> identity = own(ptp_port_identity_create(handle, test_class), ptp_port_identity_destroy);
    owned<ptp_ipv4_streams_arr> streams =
        own(ptp_ipv4_streams_arr_create(handle, test_class), ptp_ipv4_streams_arr_destroy);
    for (const char *name : {"ptp_port_identity", "ptp_clock_identity", "ptp_ipv4_streams_arr", "ptp_ipv4_stream_id"}) {
        const std::string subject = name;
        const bool in_array = subject.find("ipv4") != std::string::npos;
        vela_type_info &record = static_record(type_named(name));
        const auto destroy_after = [&](auto &&change) {
            change();
            if (in_array) {
                ptp_ipv4_streams_arr_destroy(handle, test_class, streams.get());
            } else {
                ptp_port_identity_destroy(handle, test_class, identity.get());
            }
        };
        EXPECT_ABORT(destroy_after([&] { record.magic = 0; }), subject + ": tinfo is null or corrupted");
        EXPECT_ABORT(destroy_after([&] { record.variant_table = nullptr; }), subject + ": varinfo is NULL");
        const auto create_without_table = [&] {
            record.variant_table = nullptr;
            create(type_named(in_array ? "ptp_ipv4_streams_arr" : "ptp_port_identity"));
        };
        EXPECT_ABORT(create_without_table(), subject + ": varinfo is NULL");
    }
}

TEST_P(abort_test, nested_instances_are_checked_before_their_parent) {
    owned<ptp_port_identity> identity = own(ptp_port_identity_create(handle, test_class), ptp_port_identity_destroy);
    void *nested = ptp_port_identity_clock_identity_get(handle, test_class, identity.get(), &err);
    vela_type_info stranger = _ptp_clock_identity_type_info_internal;
    stranger.magic = 0;
    const auto destroy_with = [&](const vela_type_info *of_parent, const vela_type_info *of_nested) {
        header(identity.get()).type_info = of_parent;
        header(nested).type_info = of_nested;
        ptp_port_identity_destroy(handle, test_class, identity.get());
    };
    const char *trace = "ptp_clock_identity: tinfo is null or corrupted";
    EXPECT_ABORT(destroy_with(nullptr, nullptr), trace);
    for (const vela_type_info *of_nested : {static_cast<vela_type_info *>(nullptr), &stranger}) {
        EXPECT_ABORT(destroy_with(&_ptp_port_identity_type_info_internal, of_nested), trace);
    }
}

INSTANTIATE_TEST_SUITE_P(handles, abort_test, testing::Values(all_hooks, no_hooks), name_of_hooks);

}  // namespace
}  // namespace ptp_cfg_test
