// Duplicates of structures, and which fields a domain has.

#include <dlfcn.h>

#include <cstring>
#include <limits>
#include <utility>

#include "ptp_cfg/clock.h"
#include "ptp_cfg/commands.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/master_selection.h"
#include "ptp_cfg/port_stream.h"
#include "records.h"
#include "velalib/primitives.h"

namespace ptp_cfg_test {
namespace {

// ---- duplicates -----------------------------------------------------------------------------------------------------

class Clone : public family_test {
  protected:
    /** A port with a name, which takes a second allocation. */
    owned<ptp_port> make_port(const char *name) {
        auto port = own(ptp_port_create(handle, test_class), ptp_port_destroy);
        ptp_port_port_name_set(handle, test_class, port.get(), name, static_cast<u_int32>(strlen(name)), &err);
        ptp_port_port_num_set_value(handle, test_class, port.get(), 5, &err);
        expect_ok();
        return port;
    }
    /** Expects the trace of a decoding that went on to the end of its bytes after the name had failed. */
    void expect_rest_passed_over(bool wanted) {
        ASSERT_EQ(traces.size(), wanted ? 1u : 0u);
        EXPECT_TRUE(!wanted || traces[0].text.rfind("offset_jump ", 0) == 0);
        traces.clear();
    }
    u_int8 buffer[1024] = {};
};

TEST_F(Clone, NeedsASlotAndABuffer) {
    const auto port = make_port("a");
    ptp_port *slot = nullptr;
    ptp_port_clone_internal(handle, test_class, port.get(), nullptr, buffer, 1024, &err);
    expect_error(VELA_ENOENT);
    ptp_port_clone_internal(handle, test_class, port.get(), &slot, nullptr, 1024, &err);
    expect_error(VELA_ENOENT);
    err = 99;
    ptp_port_clone_internal(handle, test_class, port.get(), &slot, buffer, 1024, &err);
    EXPECT_EQ(err, 99u);
    err = 0;
    EXPECT_EQ(slot, nullptr);
}

TEST_F(Clone, AShortBufferLeavesTheDestinationAlone) {
    const auto port = make_port("a longer name");
    auto destination = make_port("other");
    ptp_port *slot = destination.get();
    for (const int32 length : {0, 1, 5, static_cast<int32>(ptp_port_len(handle, test_class, port.get())) - 1}) {
        ptp_port_clone_internal(handle, test_class, port.get(), &slot, buffer, length, &err);
        EXPECT_EQ(slot, destination.get());
        expect_error(length == 0 ? VELA_ENOMEM : VELA_EMSGSIZE);
    }
    EXPECT_EQ(ptp_port_compare(slot, make_port("other").get()), 0);

    slot = port.get();
    ptp_port_clone(handle, test_class, port.get(), &slot, buffer, 6);  // reports by the slot alone
    EXPECT_EQ(slot, nullptr);
    EXPECT_EQ(handle->last_error.code, u_int32{VELA_EMSGSIZE});
    vela_clear_last_error(handle);
}

TEST_F(Clone, WithoutMemoryThereIsNone) {
    const auto port = make_port("name");
    for (int failing = 1; failing <= 2; ++failing) {  // the instance, then its name
        ptp_port *slot = nullptr;
        fail_allocation(failing);
        ptp_port_clone_internal(handle, test_class, port.get(), &slot, buffer, 1024, &err);
        EXPECT_EQ(slot, nullptr);
        expect_error(VELA_ENOMEM);
        expect_rest_passed_over(failing == 2);
        EXPECT_EQ(blocks_out(), 2u) << "only the source and its name";
    }
    handle->chained_mem_class = test_class;
    fail_allocation(1);
    EXPECT_EQ(ptp_port_clone_cr(handle, port.get()), nullptr);
    expect_chained_error(VELA_ENOMEM);
}

TEST_F(Clone, AFailureToDecodeConsumesTheDestination) {
    const auto port = make_port("name");
    ptp_port *slot = make_port("other").release();
    fail_allocation(1);  // of the new name
    ptp_port_clone_internal(handle, test_class, port.get(), &slot, buffer, 1024, &err);
    EXPECT_EQ(slot, nullptr);
    expect_error(VELA_ENOMEM);
    expect_rest_passed_over(true);
    EXPECT_EQ(blocks_out(), 2u);
}

TEST_F(Clone, GivesTextsOfTheirOwn) {
    auto port = make_port("name");
    auto destination = make_port("a name that goes");
    handle->chained_mem_class = test_class;
    const auto copy = own(ptp_port_clone_cr(handle, port.get()), ptp_port_destroy);
    ptp_port_copy_cr(handle, port.get(), destination.get());
    EXPECT_EQ(handle->chained_err, 0u);
    EXPECT_EQ(blocks_out(), 6u);
    port.reset();
    EXPECT_EQ(ptp_port_compare(copy.get(), destination.get()), 0);
    EXPECT_STREQ(ptp_port_port_name_get(handle, test_class, copy.get(), &err), "name");
}

/** Marks an instance and every structure in it as carrying extra data, or not. Returns how many there are. */
u_int32 mark_extra_data(const record_type &type, vela_handle *handle, void *instance, u_int8 extra) {
    u_int32 count = 0;
    for_each_header(type.type, handle, instance, [&](const ptp_cfg_type *nested_type, void *nested) {
        if (describe(nested_type).kind == PTP_CFG_STRUCTURE) {
            u_int8 &flags = header(nested).flags;
            flags = static_cast<u_int8>((flags & ~VELA_FLAG_EXTRA_DATA) | extra);
            ++count;
        }
    });
    return count;
}

/** Clones and copies with a work buffer that lacks so many bytes of the encoding. */
void clone_in_a_buffer_that_lacks(u_int32 missing, const record_type &type, u_int32 mode, u_int8 extra, u_int32 len) {
    SCOPED_TRACE(testing::Message() << type.about.name << ", tracking " << mode << ", flags " << +extra << ", "
                                    << missing << " bytes missing");
    const test_handle handle({.tracking = mode, .work_buffer = len - missing});
    const auto source = type.create(handle);
    const auto target = type.create(handle);
    fill(type, handle, source.get(), filling::random);
    mark_extra_data(type, handle, source.get(), extra);
    if (mode == VELA_STTR_ON) {
        set_flags(type, handle, source.get());
    }
    const u_int32 expected = missing == 0 ? 0 : u_int32{VELA_EMSGSIZE};
    u_int32 err = 0;
    void *copy = type.operations->clone(handle, mem_class, source.get(), &err);
    EXPECT_EQ(err, expected);
    EXPECT_EQ(copy != nullptr, missing == 0);
    err = 0;
    void *slot = target.get();
    type.operations->copy(handle, mem_class, source.get(), &slot, &err);
    EXPECT_EQ(err, expected);
    EXPECT_EQ(slot, target.get());
    EXPECT_EQ(type.operations->compare(source.get(), slot) == 0, missing == 0);
    if (copy != nullptr) {
        for (void *instance : {source.get(), copy, slot}) {
            EXPECT_EQ(header(instance).flags & VELA_FLAG_EXTRA_DATA, extra);
            mark_extra_data(type, handle, instance, 0);
        }
        EXPECT_EQ(type.marshal(handle, copy), type.marshal(handle, source.get())) << "with all state flags";
        EXPECT_EQ(type.marshal(handle, slot), type.marshal(handle, source.get()));
    }
    type.operations->destroy(handle, mem_class, copy);
}

TEST(CloneInChain, TakesTheHandlesBufferToItsLastByteAndNoLess) {
    for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
        for (const u_int32 mode : {u_int32{VELA_STTR_OFF}, u_int32{VELA_STTR_ON}}) {
            const test_handle handle({.tracking = mode});
            const auto source = type.create(handle);
            fill(type, handle, source.get(), filling::random);
            const u_int32 len = type.operations->len(handle, mem_class, source.get());
            const u_int32 extra = VELA_WIRE_EXTRA_DATA * mark_extra_data(type, handle, source.get(), 0);
            for (const u_int32 missing : {0u, 1u, 2u, 9u}) {
                if (missing < len) {
                    clone_in_a_buffer_that_lacks(missing, type, mode, 0, len);
                }
                clone_in_a_buffer_that_lacks(missing, type, mode, VELA_FLAG_EXTRA_DATA, len + extra);
            }
        }
    }
}

TEST(CloneInChain, DoesNothingAfterAnError) {
    const test_handle handle;
    const auto quality = hold(handle, ptp_clock_quality_create(handle, mem_class), ptp_clock_quality_destroy);
    handle->chained_err = 99;
    EXPECT_EQ(ptp_clock_quality_clone_cr(handle, quality.get()), nullptr);
    EXPECT_EQ(handle->chained_err, 99u);
}

TEST(CloneInABuffer, NeverStoresBehindIt) {
    const test_handle handle({.tracking = VELA_STTR_ON});
    const auto port = hold(handle, ptp_port_create(handle, mem_class), ptp_port_destroy);
    const u_int32 len = ptp_port_len(handle, mem_class, port.get());
    const guarded_memory memory(len);
    for (u_int32 length = 0; length <= len; ++length) {
        u_int32 err = 0;
        ptp_port *slot = nullptr;
        ptp_port_clone_internal(handle, mem_class, port.get(), &slot, memory.last(length), static_cast<int32>(length),
                                &err);
        EXPECT_EQ(err, length == len ? 0u : length == 0 ? u_int32{VELA_ENOMEM} : u_int32{VELA_EMSGSIZE}) << length;
        EXPECT_EQ(slot != nullptr, length == len);
        ptp_port_destroy(handle, mem_class, slot);
    }
}

TEST_F(Clone, CopyNeedsADestination) {
    const auto port = make_port("name");
    handle->chained_mem_class = test_class;
    ptp_port_copy_cr(handle, port.get(), nullptr);
    expect_chained_error(VELA_EINVAL);
    handle->chained_err = 99;
    ptp_port_copy_cr(handle, port.get(), nullptr);
    EXPECT_EQ(handle->chained_err, 99u);
    handle->chained_err = 0;
    EXPECT_EQ(blocks_out(), 2u) << "nothing was created";
}

TEST(CloneUnderADomain, AnEnumerationKeepsTheVariantOfItsSource) {
    // Of one type no variant but the first is known, so that the domain changes no byte of its encoding.
    for (const char *name : {"ptp_clock_quality", "ptp_clock"}) {
        const record_type type(name);
        const test_handle plain;
        const auto source = type.create(plain);
        const old_domain domain({{"ptp_clock_accuracy", 3}, {"ptp_clock_mode", 3}, {"ptp_clock_profile", 3}});
        const test_handle handle({.domain = domain});
        const auto target = type.create(handle);
        void *slot = target.get();
        u_int32 err = 0;
        type.operations->copy(handle, mem_class, source.get(), &slot, &err);
        const auto expect_variants_of_source = [&](void *copy) {
            for_each_header(type.type, handle, copy, [&](const ptp_cfg_type *nested_type, void *nested) {
                EXPECT_EQ(header(nested).variant, describe(nested_type).newest_variant) << name;
            });
        };
        expect_variants_of_source(slot);
        using clone_cr = void *(vela_handle *, const void *);
        const auto clone = reinterpret_cast<clone_cr *>(dlsym(RTLD_DEFAULT, (std::string(name) + "_clone_cr").c_str()));
        void *copy = clone(handle, source.get());
        EXPECT_EQ(handle->chained_err, 0u);
        expect_variants_of_source(copy);
        type.operations->destroy(handle, mem_class, copy);
    }
}

TEST(CloneInChain, NeedsTheHandlesBufferOnEveryWay) {
    const test_handle handle({.work_buffer = 13});  // one byte less than the encoding
    u_int32 err = 0;
    const auto source = hold(handle, ptp_clock_quality_create(handle, mem_class), ptp_clock_quality_destroy);
    const auto target = hold(handle, ptp_clock_quality_create(handle, mem_class), ptp_clock_quality_destroy);
    ptp_clock_quality_set_all(handle, mem_class, source.get(), 6, -1, 3, &err);
    EXPECT_EQ(ptp_clock_quality_clone_cr(handle, source.get()), nullptr);
    EXPECT_EQ(std::exchange(handle->chained_err, 0), u_int32{VELA_EMSGSIZE});
    ptp_clock_quality_copy_cr(handle, source.get(), target.get());
    EXPECT_EQ(std::exchange(handle->chained_err, 0), u_int32{VELA_EMSGSIZE});
    EXPECT_NE(ptp_clock_quality_compare(source.get(), target.get()), 0);
}

TEST(CloneOfNewer, RecordsAreCopiedButElementsAndEnumerationsAreChecked) {
    const auto clone_under = [](const char *type_name, std::initializer_list<std::pair<const char *, int8>> variants) {
        const record_type type(type_name);
        const test_handle handle;
        const auto source = type.create(handle);
        fill(type, handle, source.get(), filling::random);
        const old_domain domain(variants);
        vela_handle_set_domain(handle, domain);
        u_int32 err = 0;
        void *copy = type.operations->clone(handle, mem_class, source.get(), &err);
        EXPECT_EQ(copy == nullptr, err != 0);
        if (copy != nullptr) {
            EXPECT_EQ(type.operations->compare(source.get(), copy), 0) << type_name;
            EXPECT_EQ(header(copy).variant, header(source.get()).variant);
        }
        type.operations->destroy(handle, mem_class, copy);
        vela_handle_set_domain(handle, nullptr);
        return err;
    };
    EXPECT_EQ(clone_under("ptp_utc_offset", {{"ptp_utc_offset", 0}}), 0u);
    EXPECT_EQ(clone_under("ptp_clock", {{"ptp_clock_time_properties_data_set", 0}}), 0u);
    EXPECT_EQ(clone_under("ptp_bmca_data", {{"ptp_bmca_current_mst_details", 0}}), 0u);
    EXPECT_EQ(clone_under("ptp_bmca_data", {{"ptp_master_attribute", 0}}), u_int32{VELA_EEPOCH});
    EXPECT_EQ(clone_under("ptp_clock", {{"ptp_clock_profile", 0}}), u_int32{VELA_EEPOCH});
}

// ---- validity -------------------------------------------------------------------------------------------------------

TEST(IsValid, FollowsTheDomain) {
    struct row {
        const char *type;
        u_int32 (*is_valid)(vela_handle *, u_int32);
        int8 domain;
        u_int32 first_invalid;
    };
    constexpr auto quality = [](vela_handle *handle, u_int32 field) {
        return ptp_clock_quality_is_valid_cr(handle, nullptr, field);
    };
    constexpr auto clock = [](vela_handle *handle, u_int32 field) {
        return ptp_clock_is_valid_cr(handle, nullptr, field);
    };
    constexpr auto offset = [](vela_handle *handle, u_int32 field) {
        return ptp_utc_offset_is_valid_cr(handle, nullptr, field);
    };
    constexpr auto attribute = [](vela_handle *handle, u_int32 field) {
        return ptp_master_attribute_is_valid_cr(handle, nullptr, field);
    };
    constexpr u_int32 none = std::numeric_limits<u_int32>::max();
    for (const row &it :
         {row{"ptp_clock_quality", quality, 0, 3}, row{"ptp_clock_quality", quality, 1, none},
          row{"ptp_clock", clock, 0, 12}, row{"ptp_utc_offset", offset, 0, 1}, row{"ptp_utc_offset", offset, 1, 5},
          row{"ptp_utc_offset", offset, 2, 7}, row{"ptp_utc_offset", offset, 3, none},
          row{"ptp_master_attribute", attribute, 0, 14}, row{"ptp_master_attribute", attribute, 1, 16},
          row{"ptp_master_attribute", attribute, 2, none}}) {
        const old_domain domain({{it.type, it.domain}});
        const test_handle handle({.domain = domain});
        for (u_int32 field = 0; field < 20; ++field) {
            EXPECT_EQ(it.is_valid(handle, field), field < it.first_invalid ? 1u : 0u)
                << it.type << " field " << field << " domain " << int{it.domain};
        }
        EXPECT_EQ(handle->chained_err, 0u);
    }
}

}  // namespace
}  // namespace ptp_cfg_test
