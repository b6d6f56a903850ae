// What the tests of messages share.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <map>

#include "ptp_cfg/messages.h"
#include "ptp_cfg/port_stream.h"
#include "records.h"

namespace ptp_cfg_test {

constexpr u_int8 untouched = 0xA5;
constexpr u_int32 room_of_all = 256;
inline constexpr char message_name[] = "ptp_port_delete_cmd_message";

class Message : public family_test {
  protected:
    using message = ptp_port_delete_cmd_message;

    owned<message> make(u_int16 port_id = 0x1234) {
        auto result = own(ptp_port_delete_cmd_message_create(handle, test_class), ptp_port_delete_cmd_message_destroy);
        ptp_port_delete_port_id_set_value(handle, test_class, payload(result.get()), port_id, &err);
        return result;
    }
    ptp_port_delete *payload(message *of) {
        return ptp_port_delete_cmd_message_ptp_port_delete_get(handle, test_class, of, &err);
    }
    owned<ptp_port_delete> make_payload() {
        return own(ptp_port_delete_create(handle, test_class), ptp_port_delete_destroy);
    }
    u_int32 marshal(message *of, u_int32 room) {
        buffer.fill(untouched);
        return ptp_port_delete_cmd_message_marshal(handle, test_class, buffer.data(), of, room, &err);
    }
    octets written(size_t count) const { return {buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count)}; }
    void expect_untouched_from(size_t offset) const {
        EXPECT_EQ(std::count(buffer.begin() + static_cast<std::ptrdiff_t>(offset), buffer.end(), untouched),
                  static_cast<std::ptrdiff_t>(buffer.size() - offset));
    }

    std::array<u_int8, room_of_all> buffer = {};
};

}  // namespace ptp_cfg_test
