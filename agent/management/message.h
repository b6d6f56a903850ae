// The IEEE 1588 management message: common header, action, one TLV.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "agent/daemon.h"
#include "agent/management/tlv.h"

namespace ptp_agent {

enum class ManagementAction : std::uint8_t { Get, Set, Response, Command, Acknowledge };

/** Every port of a clock, and every clock, as the address of a request. */
inline constexpr std::uint16_t all_ports = 0xFFFF;
inline constexpr PortIdentity any_clock = {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, all_ports};

struct ManagementMessage {
    std::uint8_t domain = 0;
    PortIdentity source;
    PortIdentity target = any_clock;
    std::uint16_t sequence = 0;
    ManagementAction action = ManagementAction::Get;
    ManagementId id = ManagementId::DefaultDataSet;
    std::uint16_t error = 0;             ///< managementErrorId of an error status; 0: none
    std::span<const std::uint8_t> data;  ///< of the TLV, lent; empty for a GET and an error status
};

/** Bytes that no management message with a known TLV exceeds. */
inline constexpr std::size_t longest_management_message = 1500;

std::vector<std::uint8_t> encode_management(const ManagementMessage &message);

/**
 * Reads a message whose bytes came from elsewhere.
 * @param why  receives what is wrong with it
 * @return the message, whose data lie in `bytes`; nothing when it is none
 */
std::optional<ManagementMessage> decode_management(std::span<const std::uint8_t> bytes, std::string &why);

/** The name of a managementErrorId, e.g. "WRONG_VALUE", or its number. */
std::string name_of_error(std::uint16_t error);
/** Whether the error says that the daemon does not know the TLV at all. */
bool is_unknown_id(std::uint16_t error);

}  // namespace ptp_agent
