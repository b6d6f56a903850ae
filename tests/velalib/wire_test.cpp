// The items that frame an instance and a message.
#include "test_support.h"

namespace velalib_test {
namespace {

using bytes = std::vector<u_int8>;

class wire_test : public handle_test {
  protected:
    /** Writes at every room: nothing below the width, exactly the bytes from there on. */
    template <typename Write>
    void check_write(const bytes &expected, Write write) {
        for (u_int32 room = 0; room <= expected.size() + 1; ++room) {
            bytes out(room, 0xEE);
            const u_int32 written = write(out.data(), room);
            if (room < expected.size()) {
                EXPECT_EQ(written, 0u);
                EXPECT_EQ(out, bytes(room, 0xEE));
                expect_failure(VELA_EMSGSIZE);
            } else {
                EXPECT_EQ(written, expected.size());
                EXPECT_EQ(bytes(out.begin(), out.begin() + written), expected);
                EXPECT_EQ(err, 0u);
            }
        }
        err = VELA_EEPOCH;
        bytes out(expected.size(), 0xEE);
        EXPECT_EQ(write(out.data(), static_cast<u_int32>(out.size())), 0u);
        EXPECT_EQ(out, bytes(expected.size(), 0xEE));
        err = 0;
    }

    template <typename Read>
    void check_read(const bytes &wire, Read read) {
        for (u_int32 room = 0; room < wire.size(); ++room) {
            const bytes cut(wire.begin(), wire.begin() + room);
            EXPECT_EQ(read(cut.data(), room), 0u);
            expect_failure(VELA_EMSGSIZE);
        }
        EXPECT_EQ(read(wire.data(), static_cast<u_int32>(wire.size())), wire.size());
        EXPECT_EQ(err, 0u);
    }
};

TEST_F(wire_test, InstanceItems) {
    check_write({0xFF}, [&](u_int8 *out, u_int32 room) {
        return _vela_instance_variant_marshal(handle, test_class, out, -1, room, &err);
    });
    check_write({0x28}, [&](u_int8 *out, u_int32 room) {
        return _vela_instance_obj_flag_marshal(handle, test_class, out, 0x28, room, &err);
    });
    check_write({3, 1, 2, 3, 4, 5, 6, 7, 8}, [&](u_int8 *out, u_int32 room) {
        return _vela_instance_ra_data_marshal(handle, test_class, out, 3, 0x0102030405060708, room, &err);
    });
    check_write({0x12, 0x34, 0x56, 0x78}, [&](u_int8 *out, u_int32 room) {
        return _vela_variant_jump_marshal(handle, test_class, out, 0x12345678, room, &err);
    });

    int8 variant = 9;
    u_int8 flag = 0, kind = 0;
    u_int32 jump = 0;
    u_int64 data = 0;
    check_read({0xFE}, [&](const u_int8 *in, u_int32 room) {
        EXPECT_EQ(variant, 9);
        return _vela_instance_variant_unmarshal(handle, test_class, in, &variant, room, &err);
    });
    check_read({0xA8}, [&](const u_int8 *in, u_int32 room) {
        return _vela_instance_obj_flag_unmarshal(handle, test_class, in, &flag, room, &err);
    });
    check_read({3, 1, 2, 3, 4, 5, 6, 7, 8}, [&](const u_int8 *in, u_int32 room) {
        EXPECT_EQ(kind, 0);
        return _vela_instance_ra_data_unmarshal(handle, test_class, in, &kind, &data, room, &err);
    });
    check_read({0x80, 0, 0, 1}, [&](const u_int8 *in, u_int32 room) {
        return _vela_variant_jump_unmarshal(handle, test_class, in, &jump, room, &err);
    });
    EXPECT_EQ(variant, -2);
    EXPECT_EQ(flag, 0xA8);
    EXPECT_EQ(kind, 3);
    EXPECT_EQ(data, 0x0102030405060708u);
    EXPECT_EQ(jump, 0x80000001u);
}

TEST_F(wire_test, MessageHeader) {
    const vela_message_header header = {VELA_MESSAGE_TAG, {255, 255, 255, 255, 255, 255}, 1, 0x01020304, 0x0A0B0C0D};
    bytes wire = {0xBC, 255, 255, 255, 255, 255, 255, 1, 1, 2, 3, 4, 0x0A, 0x0B, 0x0C, 0x0D};
    wire.resize(VELA_WIRE_MESSAGE_HEADER);
    check_write(wire, [&](u_int8 *out, u_int32 room) {
        return _vela_message_header_marshal(handle, test_class, out, &header, room, &err);
    });
    vela_message_header read = {};
    check_read(wire, [&](const u_int8 *in, u_int32 room) {
        EXPECT_EQ(read.tag, 0);
        return _vela_message_header_unmarshal(handle, test_class, in, &read, room, &err);
    });
    EXPECT_EQ(memcmp(&read, &header, sizeof header), 0);

    wire[0] = 0xBD;
    vela_message_header untouched = {};
    EXPECT_EQ(_vela_message_header_unmarshal(handle, test_class, wire.data(), &untouched, 27, &err), 0u);
    expect_failure(VELA_EINVAL);
    EXPECT_EQ(untouched.tracked, 0);
}

}  // namespace
}  // namespace velalib_test
