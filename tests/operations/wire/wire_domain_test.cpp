// Records newer than the domain, and texts of encodings that are cut.
#include <array>

#include "ptp_cfg/commands.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/port_stream.h"
#include "records.h"

namespace ptp_cfg_test {
namespace {

constexpr u_int8 untouched = 0xA5;

class NewerThanTheDomain : public testing::Test {
  protected:
    NewerThanTheDomain() {
        fill(type, handle, instance.get(), filling::random);
        latest_bytes = type.marshal(handle, instance.get());
        vela_handle_set_domain(handle, old.get());
    }

    record_type type{"ptp_utc_offset"};
    level_domain old{1};
    test_handle handle;
    owned<void> instance = type.create(handle);
    octets latest_bytes;
    octets bytes = octets(64, untouched);
    u_int32 err = 0;
};

TEST_F(NewerThanTheDomain, IsWrittenAtTheDomainsVariantWithError43) {
    const u_int32 count = type.operations->marshal(handle, mem_class, bytes.data(), instance.get(), 64, &err);
    EXPECT_EQ(err, u_int32{VELA_EEPOCH});
    EXPECT_NE(handle->last_error.epoch, 0u);
    octets expected(latest_bytes.begin(), latest_bytes.begin() + 6 + 2 + 4 * 2);
    expected[0] = 1;
    expected[5] = 4 + 2 + 4 * 2;
    EXPECT_EQ(octets(bytes.begin(), bytes.begin() + count), expected);
}

TEST_F(NewerThanTheDomain, AnErrorOfAPrimitiveWins) {
    type.operations->marshal(handle, mem_class, bytes.data(), instance.get(), 15, &err);
    EXPECT_EQ(err, u_int32{VELA_EMSGSIZE});
}

TEST_F(NewerThanTheDomain, IsClonedInFull) {
    const u_int32 count = ptp_utc_offset_marshal_for_clone(handle, mem_class, bytes.data(),
                                                           static_cast<ptp_utc_offset *>(instance.get()), 64, &err);
    EXPECT_EQ(err, 0u);
    EXPECT_EQ(octets(bytes.begin(), bytes.begin() + count), latest_bytes);
}

TEST_F(NewerThanTheDomain, EnumerationsToo) {
    vela_handle_set_domain(handle, nullptr);
    const auto profile = hold(handle, ptp_clock_profile_create(handle, mem_class), ptp_clock_profile_destroy);
    ptp_clock_profile_set_value(handle, mem_class, profile.get(), 5, &err);
    const old_domain oldest({{"ptp_clock_profile", 0}});
    vela_handle_set_domain(handle, oldest);
    EXPECT_EQ(ptp_clock_profile_marshal(handle, mem_class, bytes.data(), profile.get(), 64, &err), 5u);
    EXPECT_EQ(err, u_int32{VELA_EEPOCH});
    EXPECT_EQ(octets(bytes.begin(), bytes.begin() + 5), from_hex("00 00000005"));

    // As a field, it makes its record's marshal fail in the same way: the encoding is complete.
    vela_handle_set_domain(handle, nullptr);
    const record_type clock_type("ptp_clock");
    const auto clock = clock_type.create(handle);
    const octets whole = clock_type.marshal(handle, clock.get());
    vela_handle_set_domain(handle, oldest);
    octets room(whole.size(), untouched);
    err = 0;
    EXPECT_EQ(clock_type.operations->marshal(handle, mem_class, room.data(), clock.get(),
                                             static_cast<u_int32>(room.size()), &err),
              whole.size());
    EXPECT_EQ(err, u_int32{VELA_EEPOCH});
}

TEST(WireText, CutEncodingsLeaveNoTextThatIsNotThere) {
    const record_type type("ptp_port");
    const test_handle handle;
    const auto sent = type.create(handle);
    auto *port = static_cast<ptp_port *>(sent.get());
    u_int32 err = 0;
    const std::string name = "uplink to the ring";
    ptp_port_port_name_set(handle, mem_class, port, name.c_str(), static_cast<u_int32>(name.size()), &err);
    ASSERT_EQ(err, 0u);
    const octets bytes = type.marshal(handle, port);
    const auto received = type.create(handle);
    auto *target = static_cast<ptp_port *>(received.get());
    for (size_t length = 0; length < bytes.size(); ++length) {
        err = 0;
        ptp_port_port_name_set(handle, mem_class, target, "old", 3, &err);
        ptp_port_unmarshal(handle, mem_class, bytes.data(), target, static_cast<int32>(length), 0, &err);
        EXPECT_NE(err, 0u) << length;
        err = 0;
        const u_int32 size = ptp_port_port_name_size_get_value(handle, mem_class, target, &err);
        const char *text = ptp_port_port_name_get(handle, mem_class, target, &err);
        const std::string got(text, size);
        EXPECT_EQ(text[size], '\0');
        EXPECT_TRUE(got.empty() || got == "old" || got == name) << length << ": " << got;
    }
    err = 0;
    ptp_port_unmarshal(handle, mem_class, bytes.data(), target, static_cast<int32>(bytes.size()), 0, &err);
    EXPECT_EQ(ptp_port_compare(port, target), 0);
}

}  // namespace
}  // namespace ptp_cfg_test
