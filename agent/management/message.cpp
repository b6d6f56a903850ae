// Encodes and decodes management messages. What comes from a socket is checked before it is believed.
#include "agent/management/message.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/big_endian.h"

namespace ptp_agent {
namespace {

using base::load_big_endian;
using base::store_big_endian;

// Offsets of the common header (IEEE 1588-2008, 13.3) and of the management message behind it (15.4.1).
constexpr std::size_t at_type = 0, at_version = 1, at_length = 2, at_domain = 4, at_source = 20, at_sequence = 30,
                      at_control = 32, at_interval = 33, at_target = 34, at_starting_hops = 44, at_hops = 45,
                      at_action = 46, at_tlv = 48;
constexpr std::size_t at_tlv_length = at_tlv + 2, at_tlv_value = at_tlv + 4;

constexpr std::uint8_t management_type = 0x0D, ptp_version = 2, management_control = 4, no_interval = 0x7F;
constexpr std::uint16_t management_tlv = 1, error_status_tlv = 2;

struct NamedError {
    std::uint16_t number;
    const char *name;
};

constexpr NamedError errors[] = {
    {1, "RESPONSE_TOO_BIG"}, {2, "NO_SUCH_ID"},    {3, "WRONG_LENGTH"},       {4, "WRONG_VALUE"},
    {5, "NOT_SETABLE"},      {6, "NOT_SUPPORTED"}, {0xFFFE, "GENERAL_ERROR"},
};

void store_identity(std::uint8_t *bytes, const PortIdentity &identity) {
    std::memcpy(bytes, identity.clock.data(), identity.clock.size());
    store_big_endian(bytes + identity.clock.size(), identity.port);
}

PortIdentity load_identity(const std::uint8_t *bytes) {
    PortIdentity identity;
    std::memcpy(identity.clock.data(), bytes, identity.clock.size());
    identity.port = load_big_endian<std::uint16_t>(bytes + identity.clock.size());
    return identity;
}

/** What is wrong with the frame around the TLV, or null. */
const char *fault_of_frame(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < at_tlv_value + 2) {
        return "shorter than a management message";
    }
    if ((bytes[at_type] & 0x0F) != management_type) {
        return "no management message";
    }
    if ((bytes[at_version] & 0x0F) != ptp_version) {
        return "another version of PTP";
    }
    const std::size_t length = load_big_endian<std::uint16_t>(&bytes[at_length]);
    if (length > bytes.size() || length < at_tlv_value + 2) {
        return "a messageLength that does not fit";
    }
    const std::size_t value = load_big_endian<std::uint16_t>(&bytes[at_tlv_length]);
    if (value < 2 || at_tlv_value + value > length) {
        return "a TLV longer than its message";
    }
    return nullptr;
}

/** The TLV of a message whose frame is right. */
bool decode_body(std::span<const std::uint8_t> bytes, ManagementMessage &message, std::string &why) {
    const auto value = bytes.subspan(at_tlv_value, load_big_endian<std::uint16_t>(&bytes[at_tlv_length]));
    const auto type = load_big_endian<std::uint16_t>(&bytes[at_tlv]);
    if (type == management_tlv) {
        message.id = ManagementId{load_big_endian<std::uint16_t>(value.data())};
        message.data = value.subspan(2);
        return true;
    }
    if (type != error_status_tlv || value.size() < 4) {
        why = "neither a management TLV nor an error status";
        return false;
    }
    message.error = load_big_endian<std::uint16_t>(value.data());
    message.id = ManagementId{load_big_endian<std::uint16_t>(value.data() + 2)};
    return true;
}

}  // namespace

std::vector<std::uint8_t> encode_management(const ManagementMessage &message) {
    const bool failed = message.error != 0;
    // An error status has four reserved octets behind its two numbers.
    const std::size_t value = failed ? 8 : 2 + message.data.size();
    std::vector<std::uint8_t> bytes(at_tlv_value + value);
    bytes[at_type] = management_type;
    bytes[at_version] = ptp_version;
    store_big_endian(&bytes[at_length], static_cast<std::uint16_t>(bytes.size()));
    bytes[at_domain] = message.domain;
    store_identity(&bytes[at_source], message.source);
    store_big_endian(&bytes[at_sequence], message.sequence);
    bytes[at_control] = management_control;
    bytes[at_interval] = no_interval;
    store_identity(&bytes[at_target], message.target);
    bytes[at_starting_hops] = bytes[at_hops] = 0;
    bytes[at_action] = static_cast<std::uint8_t>(message.action);
    store_big_endian(&bytes[at_tlv], failed ? error_status_tlv : management_tlv);
    store_big_endian(&bytes[at_tlv_length], static_cast<std::uint16_t>(value));
    std::uint8_t *out = &bytes[at_tlv_value];
    if (failed) {
        store_big_endian(out, message.error);
        out += 2;
    }
    store_big_endian(out, static_cast<std::uint16_t>(message.id));
    if (!failed) {
        std::copy(message.data.begin(), message.data.end(), out + 2);
    }
    return bytes;
}

std::optional<ManagementMessage> decode_management(std::span<const std::uint8_t> bytes, std::string &why) {
    if (const char *fault = fault_of_frame(bytes)) {
        why = fault;
        return std::nullopt;
    }
    ManagementMessage message;
    message.domain = bytes[at_domain];
    message.source = load_identity(&bytes[at_source]);
    message.sequence = load_big_endian<std::uint16_t>(&bytes[at_sequence]);
    message.target = load_identity(&bytes[at_target]);
    const std::uint8_t action = bytes[at_action] & 0x0F;
    if (action > static_cast<std::uint8_t>(ManagementAction::Acknowledge)) {
        why = "an unknown action";
        return std::nullopt;
    }
    message.action = ManagementAction{action};
    if (!decode_body(bytes, message, why)) {
        return std::nullopt;
    }
    return message;
}

std::string name_of_error(std::uint16_t error) {
    const auto *found = std::find_if(std::begin(errors), std::end(errors),
                                     [error](const NamedError &row) { return row.number == error; });
    if (found != std::end(errors)) {
        return found->name;
    }
    char number[24];
    std::snprintf(number, sizeof number, "error 0x%04X", static_cast<unsigned>(error));
    return number;
}

bool is_unknown_id(std::uint16_t error) { return error == 2 || error == 6; }

}  // namespace ptp_agent
