// Whole instances copied over others: what comes with the values, and what stays with the memory.
#include <dlfcn.h>

#include <cstring>

#include "layout.h"
#include "ptp_cfg/clock.h"
#include "ptp_cfg/data_sets.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/port_stream.h"
#include "recording_handle.h"

namespace ptp_cfg_test {
namespace {

class whole_set_test : public family_test {
  protected:
    owned<ptp_clock_quality> make_quality() {
        return own(ptp_clock_quality_create(handle, test_class), ptp_clock_quality_destroy);
    }
    owned<ptp_port_identity> make_port_identity() {
        return own(ptp_port_identity_create(handle, test_class), ptp_port_identity_destroy);
    }
    ptp_clock_identity *nested_in(ptp_port_identity *owner) {
        return ptp_port_identity_clock_identity_get(handle, test_class, owner, &err);
    }
    void expect_not_tracked(const char *type) {
        expect_error(VELA_EINVAL);
        expect_trace(type, BITLOG_INFORMATIONAL, "The object is not state tracked", 19);
    }
    /** The _set operation of a type that only reflection knows. */
    void set(const ptp_cfg_type *type, void *destination, const void *source) {
        using operation = void(vela_handle *, u_int32, void *, const void *, u_int32 *);
        const std::string name = std::string(describe(type).name) + "_set";
        reinterpret_cast<operation *>(dlsym(RTLD_DEFAULT, name.c_str()))(handle, test_class, destination, source, &err);
    }
    std::vector<vela_instance_header> headers_of(const ptp_cfg_type *type, void *instance) {
        std::vector<vela_instance_header> headers;
        for_each_header(type, handle, instance, [&](const ptp_cfg_type *, void *it) { headers.push_back(header(it)); });
        return headers;
    }
};

TEST_F(whole_set_test, copies_the_body) {
    for (u_int32 tracking : {0, int{VELA_STTR_OFF}}) {
        open(tracking);
        owned<ptp_clock_quality> source = make_quality();
        owned<ptp_clock_quality> destination = make_quality();
        ptp_clock_quality_set_all(handle, test_class, source.get(), 248, -1, 18, &err);
        header(source.get()).flags = VELA_FLAG_EMBEDDED;
        header(destination.get()).flags = VELA_FLAG_STTR_OFFSET;
        watch(destination.get(), 40);
        ptp_clock_quality_set(handle, test_class, destination.get(), source.get(), &err);
        expect_notified(destination.get(), {{0, 40}});
        EXPECT_EQ(ptp_clock_quality_compare(destination.get(), source.get()), 0);
        EXPECT_EQ(header(destination.get()).flags, VELA_FLAG_EMBEDDED | VELA_FLAG_STTR_OFFSET);
        ptp_clock_quality_set(handle, test_class, destination.get(), destination.get(), &err);
        ptp_clock_quality_set(handle, test_class, destination.get(), nullptr, &err);
        expect_error(VELA_EINVAL);
        ptp_clock_quality_set(handle, test_class, nullptr, source.get(), &err);
        expect_error(VELA_EINVAL);
        ptp_clock_quality_set(handle, test_class, nullptr, nullptr, &err);
        expect_error(VELA_EINVAL);
        expect_untouched();
        header(destination.get()).flags = 0;
    }
}

TEST_F(whole_set_test, copies_the_state_flags_to_where_the_destination_keeps_them) {
    open(VELA_STTR_ON);
    owned<ptp_clock_identity> source = own(ptp_clock_identity_create(handle, test_class), ptp_clock_identity_destroy);
    owned<ptp_port_identity> owner = own(ptp_port_identity_create(handle, test_class), ptp_port_identity_destroy);
    ptp_clock_identity *nested = ptp_port_identity_clock_identity_get(handle, test_class, owner.get(), &err);
    ptp_clock_identity_ptp_clk_id_set_mem(handle, test_class, source.get(), "abcdefgh", 8, &err);
    for (u_int8 i = 0; i < 9; ++i) {
        byte_at(source.get(), 32u + i) = static_cast<u_int8>(i + 1);
    }
    watch(owner.get(), 75);
    ptp_port_identity_clock_identity_set(handle, test_class, owner.get(), source.get(), &err);
    const size_t offset = distance(owner.get(), nested);
    expect_notified(owner.get(), {{offset, 32}, {64 + 1, 9}, {64, 1}});
    EXPECT_EQ(header(nested).flags, VELA_FLAG_NESTED | VELA_FLAG_TRACKED | VELA_FLAG_STTR_OFFSET);
    EXPECT_EQ(memcmp(&byte_at(owner.get(), 65), &byte_at(source.get(), 32), 9), 0);
    EXPECT_EQ(byte_at(owner.get(), 64), 2);
    EXPECT_EQ(byte_at(owner.get(), 74), 0);

    // And back, from inside a parent to an instance of its own.
    owned<ptp_clock_identity> copy = own(ptp_clock_identity_create(handle, test_class), ptp_clock_identity_destroy);
    ptp_clock_identity_set(handle, test_class, copy.get(), nested, &err);
    EXPECT_EQ(header(copy.get()).flags & VELA_FLAG_STTR_OFFSET, 0);
    EXPECT_EQ(memcmp(&byte_at(copy.get(), 32), &byte_at(source.get(), 32), 9), 0);
    EXPECT_EQ(ptp_clock_identity_compare(copy.get(), source.get()), 0);
}

TEST_F(whole_set_test, between_tracked_and_untracked) {
    open(VELA_STTR_OFF);
    owned<ptp_clock_quality> untracked = make_quality();
    set_mode(VELA_STTR_ON);
    owned<ptp_clock_quality> tracked = make_quality();
    ptp_clock_quality_set_all_state_tracking_flag(handle, test_class, tracked.get(), 5);
    ptp_clock_quality_set_all(handle, test_class, untracked.get(), 248, 0, 1, &err);

    watch(tracked.get(), 43);
    ptp_clock_quality_set(handle, test_class, tracked.get(), untracked.get(), &err);
    expect_not_tracked("ptp_clock_quality");
    expect_notified(tracked.get(), {{0, 40}});
    EXPECT_EQ(ptp_clock_quality_compare(tracked.get(), untracked.get()), 0);
    EXPECT_EQ(byte_at(tracked.get(), 42), 5);

    // An instance without a block never gets the flag that promises one.
    owned<ptp_clock_quality> source = make_quality();
    watch(untracked.get(), 40);
    ptp_clock_quality_set(handle, test_class, untracked.get(), source.get(), &err);
    expect_not_tracked("ptp_clock_quality");
    EXPECT_EQ(header(untracked.get()).flags, 0);
    EXPECT_EQ(ptp_clock_quality_compare(untracked.get(), source.get()), 0);
    expect_notified(untracked.get(), {{0, 40}});
}

// ---- what stays with the memory ----------------------------------------------------------------------------------------

constexpr u_int8 top_level_kept = VELA_FLAG_OID | VELA_FLAG_TRACKED | VELA_FLAG_STTR_OFFSET | VELA_FLAG_OWNED_BLOCK;

TEST_F(whole_set_test, every_header_of_every_type_keeps_what_is_its_own) {
    for (const ptp_cfg_type *type : types_of(PTP_CFG_STRUCTURE)) {
        for (u_int32 modes = 0; modes < 8; ++modes) {
            const bool source_tracked = (modes & 1) != 0;
            const bool destination_tracked = (modes & 2) != 0;
            const bool tracking = (modes & 4) != 0;
            SCOPED_TRACE(testing::Message() << describe(type).name << " modes " << modes);
            open(VELA_STTR_OFF);
            set_mode(source_tracked ? VELA_STTR_ON : VELA_STTR_OFF);
            owned<void> source = create(type);
            set_mode(destination_tracked ? VELA_STTR_ON : VELA_STTR_OFF);
            owned<void> destination = create(type);
            const std::vector<vela_instance_header> sound = headers_of(type, source.get());
            const std::vector<vela_instance_header> own = headers_of(type, destination.get());
            const vela_type_info stranger = *own[0].type_info;
            for_each_header(type, handle, source.get(), [&](const ptp_cfg_type *, void *nested) {
                vela_instance_header &it = header(nested);
                it.flags |= VELA_FLAG_OID | VELA_FLAG_EMBEDDED | VELA_FLAG_EXTRA_DATA | VELA_FLAG_OWNED_BLOCK;
                it.variant = 1;
                it.type_info = &stranger;
            });
            set_mode(tracking ? VELA_STTR_ON : VELA_STTR_OFF);
            set(type, destination.get(), source.get());
            if (tracking && !(source_tracked && destination_tracked)) {
                expect_not_tracked(describe(type).name);
            }
            expect_ok();
            const std::vector<vela_instance_header> copied = headers_of(type, destination.get());
            for (size_t i = 0; i < copied.size(); ++i) {
                const u_int8 expected = i == 0 ? (own[i].flags & top_level_kept) | VELA_FLAG_EMBEDDED : own[i].flags;
                EXPECT_EQ(copied[i].flags, expected | VELA_FLAG_EXTRA_DATA) << "header " << i;
                EXPECT_EQ(copied[i].variant, 1) << "header " << i;
                EXPECT_EQ(copied[i].type_info, own[i].type_info) << "header " << i;
            }
            size_t next = 0;
            for_each_header(type, handle, source.get(),
                            [&](const ptp_cfg_type *, void *it) { header(it) = sound[next++]; });
        }
    }
}

TEST_F(whole_set_test, a_refused_copy_leaves_an_instance_that_can_be_used) {
    open(VELA_STTR_OFF);
    owned<ptp_port_identity> untracked = make_port_identity();
    set_mode(VELA_STTR_ON);
    owned<ptp_port_identity> tracked = make_port_identity();
    ptp_port_identity_set(handle, test_class, tracked.get(), untracked.get(), &err);
    expect_not_tracked("ptp_port_identity");
    // Its nested block is where it was; an encoding can still be read into it.
    watch(tracked.get(), 75);
    ptp_clock_identity_ptp_clk_id_set_value(handle, test_class, nested_in(tracked.get()), 7, 1, &err);
    expect_notified(tracked.get(),
                    {{distance(tracked.get(), nested_in(tracked.get())) + 11 + 7, 1}, {65, 1}, {65 + 8, 1}});
    u_int8 bytes[64] = {};
    const u_int32 length = ptp_port_identity_marshal(handle, test_class, bytes, tracked.get(), sizeof bytes - 1, &err);
    EXPECT_EQ(
        ptp_port_identity_unmarshal(handle, test_class, bytes, tracked.get(), static_cast<int32>(length), 0, &err),
        length);

    // The other way round there is no block that a setter could write to.
    watch(untracked.get(), 64);
    ptp_port_identity_set(handle, test_class, untracked.get(), tracked.get(), &err);
    expect_not_tracked("ptp_port_identity");
    ptp_clock_identity_ptp_clk_id_set_mem(handle, test_class, nested_in(untracked.get()), "abcdefgh", 8, &err);
    expect_not_tracked("ptp_clock_identity");
    expect_notified(untracked.get(), {{0, 64}, {distance(untracked.get(), nested_in(untracked.get())) + 11, 8}});
}

TEST_F(whole_set_test, fields_and_elements_stay_in_their_parent) {
    open(VELA_STTR_OFF);
    owned<ptp_stream_runtime_state> source =
        own(ptp_stream_runtime_state_create(handle, test_class), ptp_stream_runtime_state_destroy);
    ptp_stream_runtime_state_stream_id_set_value(handle, test_class, source.get(), 77, &err);
    set_mode(VELA_STTR_ON);
    owned<ptp_stream_runtime_state_arr> array =
        own(ptp_stream_runtime_state_arr_create(handle, test_class), ptp_stream_runtime_state_arr_destroy);
    const ptp_cfg_type *type = type_named("ptp_stream_runtime_state_arr");
    const std::vector<vela_instance_header> before = headers_of(type, array.get());
    ptp_stream_runtime_state_arr_state_set(handle, test_class, array.get(), 9, source.get(), &err);
    expect_not_tracked("ptp_stream_runtime_state");
    const std::vector<vela_instance_header> after = headers_of(type, array.get());
    EXPECT_TRUE(std::equal(before.begin(), before.end(), after.begin(), [](const auto &a, const auto &b) {
        return a.flags == b.flags && a.type_info == b.type_info;
    }));
    ptp_stream_runtime_state *last = ptp_stream_runtime_state_arr_state_get(handle, test_class, array.get(), 9, &err);
    EXPECT_EQ(ptp_stream_runtime_state_stream_id_get_value(handle, test_class, last, &err), 77u);
    EXPECT_EQ(ptp_stream_runtime_state_stream_id_state_flag_get(handle, test_class, last, &err), 0);
}

TEST_F(whole_set_test, what_an_instance_frees_or_is_known_by_stays_its_own) {
    const auto owned_record = [&] {
        void *memory = handle->alloc(handle->cookie, test_class, sizeof(vela_type_info));
        return static_cast<vela_type_info *>(
            memcpy(memory, &_ptp_clock_quality_type_info_internal, sizeof(vela_type_info)));
    };
    ptp_clock_quality *owner = ptp_clock_quality_create(handle, test_class);
    ptp_clock_quality *other = ptp_clock_quality_create(handle, test_class);
    vela_type_info *record = owned_record();
    header(owner).type_info = record;
    header(owner).flags |= VELA_FLAG_OWNED_BLOCK;
    ptp_clock_quality_set(handle, test_class, other, owner, &err);
    EXPECT_EQ(header(other).type_info, &_ptp_clock_quality_type_info_internal);
    EXPECT_EQ(header(other).flags, 0);
    ptp_clock_quality_set(handle, test_class, owner, other, &err);
    EXPECT_EQ(header(owner).type_info, record);
    ptp_clock_quality_destroy(handle, test_class, owner);
    EXPECT_EQ(blocks_out(), 1u) << "the block went with its owner";

    // A copy of the static instance of a failed chain has a type nevertheless.
    handle->chained_err = VELA_ENOMEM;
    ptp_clock_quality_set(handle, test_class, other, ptp_clock_quality_create_cr(handle), &err);
    handle->chained_err = 0;
    EXPECT_EQ(header(other).type_info, &_ptp_clock_quality_type_info_internal);
    ptp_clock_quality_destroy(handle, test_class, other);
}

TEST_F(whole_set_test, type_pointers_are_those_of_the_handle) {
    for (const hook_set &wanted : {all_hooks, no_hooks}) {
        use_hooks(wanted);
        open(0, 1);
        vela_handle_options options = {};
        options.size = sizeof options;
        options.shared_type_info = 1;
        vela_handle *stranger = vela_handle_create(&options, &err);
        ptp_clock_params *source = ptp_clock_params_create(stranger, test_class);
        ptp_clock_accuracy *accuracy = ptp_clock_accuracy_create(stranger, test_class);
        const ptp_cfg_type *type = type_named("ptp_clock_params");
        owned<void> destination = create(type);
        owned<ptp_clock_accuracy> copy = own(ptp_clock_accuracy_create(handle, test_class), ptp_clock_accuracy_destroy);
        const std::vector<vela_instance_header> before = headers_of(type, destination.get());
        const vela_type_info *own_type = header(copy.get()).type_info;
        set(type, destination.get(), source);
        ptp_clock_accuracy_set(handle, test_class, copy.get(), accuracy, &err);
        expect_ok();
        // Copies by way of the wire form too, and new ones.
        handle->chained_mem_class = test_class;
        owned<ptp_clock_params> decoded = own(ptp_clock_params_create(handle, test_class), ptp_clock_params_destroy);
        ptp_clock_params_copy_cr(handle, source, decoded.get());
        owned<ptp_clock_params> cloned = own(ptp_clock_params_clone_cr(handle, source), ptp_clock_params_destroy);
        expect_ok();
        ptp_clock_params_destroy(stranger, test_class, source);
        ptp_clock_accuracy_destroy(stranger, test_class, accuracy);
        vela_handle_destroy(stranger, nullptr);
        for (void *each : {destination.get(), static_cast<void *>(decoded.get()), static_cast<void *>(cloned.get())}) {
            const std::vector<vela_instance_header> after = headers_of(type, each);
            for (size_t i = 0; i < after.size(); ++i) {
                EXPECT_EQ(after[i].type_info, before[i].type_info) << "header " << i;
            }
        }
        EXPECT_EQ(header(copy.get()).type_info, own_type);
    }
}

}  // namespace
}  // namespace ptp_cfg_test
