// Texts: one owner at every moment, 0 to 255 characters.
#include <cstring>

#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/port_stream.h"
#include "ptp_cfg/time_pps.h"
#include "recording_handle.h"

namespace ptp_cfg_test {
namespace {

class string_test : public family_test {
  protected:
    owned<ptp_port> make_port() { return own(ptp_port_create(handle, test_class), ptp_port_destroy); }
    void set_name(ptp_port *port, const std::string &name) {
        ptp_port_port_name_set(handle, test_class, port, name.data(), static_cast<u_int32>(name.size()), &err);
    }
    std::string name_of(ptp_port *port) {
        const char *characters = ptp_port_port_name_get(handle, test_class, port, &err);
        return {characters, ptp_port_port_name_size_get_value(handle, test_class, port, &err)};
    }
    /** Where the length lies; the pointer to the characters follows at the next multiple of 8. */
    size_t length_offset(ptp_port *port) {
        return distance(port, ptp_port_port_name_size_get(handle, test_class, port, &err));
    }
    static size_t pointer_after(size_t offset) { return (offset + 8) / 8 * 8; }
};

TEST_F(string_test, set_get_and_overwrite) {
    owned<ptp_port> port = make_port();
    EXPECT_STREQ(ptp_port_port_name_get(handle, test_class, port.get(), &err), "");
    EXPECT_EQ(*ptp_port_port_name_size_get(handle, test_class, port.get(), &err), 0);
    for (const std::string &name : {std::string("uplink"), std::string("a longer name than before"),
                                    std::string(255, 'x'), std::string("nul\0inside", 10), std::string("x")}) {
        set_name(port.get(), name);
        EXPECT_EQ(name_of(port.get()), name);
        EXPECT_EQ(ptp_port_port_name_get(handle, test_class, port.get(), &err)[name.size()], '\0');
        EXPECT_EQ(blocks_out(), 2u) << "the old characters are gone";
    }
    // From its own old characters.
    set_name(port.get(), "north uplink");
    ptp_port_port_name_set(handle, test_class, port.get(),
                           ptp_port_port_name_get(handle, test_class, port.get(), &err) + 6, 6, &err);
    EXPECT_EQ(name_of(port.get()), "uplink");
    set_name(port.get(), "");
    EXPECT_STREQ(ptp_port_port_name_get(handle, test_class, port.get(), &err), "");
    EXPECT_EQ(blocks_out(), 1u);
    set_name(port.get(), "destroyed with its port");
}

TEST_F(string_test, the_count_keeps_its_low_8_bits) {
    owned<ptp_port> port = make_port();
    set_name(port.get(), std::string(255, 'y'));
    set_name(port.get(), std::string(256, 'z'));
    EXPECT_EQ(name_of(port.get()), "");
    set_name(port.get(), std::string(257, 'z'));
    EXPECT_EQ(name_of(port.get()), "z");
    ptp_cfg_field_set(type_named("ptp_port"), 20, handle, test_class, port.get(), 0, "", 256, &err);
    expect_error(VELA_ENOSPC);
    EXPECT_EQ(name_of(port.get()), "z");
}

TEST_F(string_test, set_announces_pointer_length_and_flag) {
    open(VELA_STTR_ON);
    owned<ptp_port> port = make_port();
    const size_t length = length_offset(port.get());
    watch(port.get(), 316);
    set_name(port.get(), "uplink");
    // 21 flags lie before: one for each field before it but the length companion.
    const size_t flag = 288 + 19 + 7;
    expect_notified(port.get(), {{pointer_after(length), 8}, {length, 1}, {flag, 1}});
    EXPECT_EQ(ptp_port_port_name_state_flag_get(handle, test_class, port.get(), &err), 2);
    ptp_port_port_name_state_flag_set(handle, test_class, port.get(), 7, &err);
    expect_notified(port.get(), {{flag, 1}});
    EXPECT_EQ(ptp_port_port_name_state_flag_get(handle, test_class, port.get(), &err), 7);
}

TEST_F(string_test, failures_change_nothing) {
    open(VELA_STTR_ON);
    owned<ptp_port> port = make_port();
    set_name(port.get(), "uplink");
    watch(port.get(), 316);
    fail_allocation(1);
    set_name(port.get(), "no memory for this");
    expect_error(VELA_ENOMEM);
    ptp_port_port_name_set(handle, test_class, port.get(), nullptr, 5, &err);
    expect_error(VELA_EINVAL);
    err = VELA_ENOENT;
    set_name(port.get(), "not tried");
    err = 0;
    expect_untouched();
    EXPECT_EQ(name_of(port.get()), "uplink");
}

TEST_F(string_test, chained_set) {
    chain();
    ptp_virtual_port *port = ptp_virtual_port_create_cr(handle);
    EXPECT_EQ(ptp_virtual_port_v_port_name_set_cr(handle, port, "gnss 1", 6), 0u);
    EXPECT_STREQ(ptp_virtual_port_v_port_name_get(handle, chained_class, port, &err), "gnss 1");
    EXPECT_EQ(ptp_virtual_port_v_port_name_size_get_value(handle, chained_class, port, &err), 6);
    fail_allocation(1);
    EXPECT_EQ(ptp_virtual_port_v_port_name_set_cr(handle, port, "gnss 2", 6), u_int32{VELA_ENOMEM});
    EXPECT_EQ(ptp_virtual_port_v_port_name_set_cr(handle, port, "gnss 3", 6), u_int32{VELA_ENOMEM});
    expect_chained_error(VELA_ENOMEM);
    EXPECT_STREQ(ptp_virtual_port_v_port_name_get(handle, chained_class, port, &err), "gnss 1");
    ptp_virtual_port_destroy_cr(handle, port);
}

TEST_F(string_test, whole_set_gives_the_destination_its_own_characters) {
    owned<ptp_port> source = make_port();
    owned<ptp_port> destination = make_port();
    set_name(source.get(), "source");
    set_name(destination.get(), "the old name");
    watch(destination.get(), 288);
    ptp_port_set(handle, test_class, destination.get(), source.get(), &err);
    expect_notified(destination.get(), {{0, 288}});
    EXPECT_EQ(name_of(destination.get()), "source");
    EXPECT_NE(ptp_port_port_name_get(handle, test_class, destination.get(), &err),
              ptp_port_port_name_get(handle, test_class, source.get(), &err));
    EXPECT_EQ(blocks_out(), 4u);

    // Its own, so what becomes of the source does not matter.
    set_name(source.get(), std::string(255, 's'));
    EXPECT_EQ(name_of(destination.get()), "source");
    watch(destination.get(), 288);
    fail_allocation(1);
    ptp_port_set(handle, test_class, destination.get(), source.get(), &err);
    expect_error(VELA_ENOMEM);
    ptp_port_set(handle, test_class, destination.get(), destination.get(), &err);
    expect_untouched();
    EXPECT_EQ(name_of(destination.get()), "source");

    set_name(source.get(), "");
    ptp_port_set(handle, test_class, destination.get(), source.get(), &err);
    EXPECT_EQ(name_of(destination.get()), "");
    EXPECT_EQ(blocks_out(), 2u);
}

TEST_F(string_test, cleanup_after_copying_bytes) {
    owned<ptp_port> source = make_port();
    set_name(source.get(), "uplink");
    alignas(8) u_int8 memory[288];
    ptp_port *copy = reinterpret_cast<ptp_port *>(memory);
    memcpy(memory, source.get(), sizeof memory);
    watch(memory, sizeof memory);
    ptp_port_post_copyout_cleanup(handle, test_class, copy);
    const size_t length = length_offset(copy);
    expect_notified(memory, {{pointer_after(length), 8}});
    EXPECT_EQ(name_of(copy), "uplink");
    EXPECT_NE(ptp_port_port_name_get(handle, test_class, copy, &err),
              ptp_port_port_name_get(handle, test_class, source.get(), &err));
    ptp_port_destroy_internal(handle, test_class, copy, 0);

    // Without memory it is left without the text rather than with the source's.
    memcpy(memory, source.get(), sizeof memory);
    watch(memory, sizeof memory);
    fail_allocation(1);
    ptp_port_post_copyout_cleanup(handle, test_class, copy);
    expect_notified(memory, {{length, 1}, {pointer_after(length), 8}});
    EXPECT_EQ(handle->last_error.code, u_int32{VELA_ENOMEM});
    vela_clear_last_error(handle);
    EXPECT_EQ(name_of(copy), "");
    EXPECT_EQ(blocks_out(), 2u);
}

}  // namespace
}  // namespace ptp_cfg_test
