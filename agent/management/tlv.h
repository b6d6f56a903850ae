/**
 * The management TLVs (IEEE 1588-2008, 15.5, and the daemon's own) as rows of data, and the one codec over them.
 *
 * A row says where each field lies on the wire and which member of the structures in agent/daemon.h it is. What a peer
 * sent is looked at only after its length was checked.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "agent/daemon.h"

namespace ptp_agent {

enum class ManagementId : std::uint16_t {
    DefaultDataSet = 0x2000,
    CurrentDataSet = 0x2001,
    ParentDataSet = 0x2002,
    TimeProperties = 0x2003,
    PortDataSet = 0x2004,
    Priority1 = 0x2005,
    Priority2 = 0x2006,
    TimeStatus = 0xC000,
    GrandmasterSettings = 0xC001,
    SubscribeEvents = 0xC003,
    PortProperties = 0xC004,
    PortStatistics = 0xC005,
    SynchronizationUncertain = 0xC006,
    PortServiceStatistics = 0xC007,  ///< of newer daemons
};

/** A subscription to what the daemon pushes, SUBSCRIBE_EVENTS_NP. */
struct EventSubscription {
    std::uint16_t duration_s = 0;
    std::array<std::uint8_t, 64> events{};  ///< one bit each, the lowest of the first octet is event 0

    bool operator==(const EventSubscription &) const = default;
};

/** What the daemon says of a port beside its data set, PORT_PROPERTIES_NP without the interface's name. */
struct PortProperties {
    PortIdentity identity;
    std::uint8_t state = 0;
    std::uint8_t timestamping = 0;
};

/** PORT_STATS_NP. */
struct PortStatistics {
    PortIdentity identity;
    PortCounters counters;
};

/** How often something went wrong on a port, PORT_SERVICE_STATS_NP of newer daemons. */
struct PortServiceStatistics {
    PortIdentity identity;
    std::array<std::uint64_t, 10> counters{};  ///< time-outs of Announce, Sync, Delay_Resp, ...; then mismatches
};

/** One number on its own: PRIORITY1 and PRIORITY2. */
struct SingleOctet {
    std::uint8_t value = 0;
};

enum class FieldKind : std::uint8_t {
    Number,        ///< `width` octets in network order; the member is as wide
    LittleEndian,  ///< the same the other way round
    Octets,        ///< copied as they are
    Bit,           ///< of one octet; the member is a bool
    LowNibble,     ///< of one octet
    Truth          ///< a number whose member is a bool: not zero
};

struct TlvField {
    std::uint16_t offset;  ///< in the TLV's data
    FieldKind kind;
    std::uint16_t width;     ///< of one element, in octets; of a Bit its position instead
    std::uint16_t elements;  ///< numbers side by side, on the wire as in the member
    std::uint16_t member;    ///< offset in the structure
};

struct TlvRow {
    ManagementId id;
    std::string_view name;         ///< as in IEEE 1588 or by the daemon
    std::uint16_t length;          ///< of the data, without a text at its end
    bool text_follows;             ///< one octet of length, then characters
    std::uint16_t structure_size;  ///< of the structure whose members the fields name
    std::span<const TlvField> fields;
};

/** All rows; each id once. */
std::span<const TlvRow> tlv_rows();
/** The row of an id, or null. */
const TlvRow *find_tlv(ManagementId id);
/** Its name, or its number in hexadecimal. */
std::string name_of(ManagementId id);

/** Which row a structure belongs to. PRIORITY1 and PRIORITY2 share one, so they are named by the caller. */
template <typename Structure>
struct TlvOf;
template <>
struct TlvOf<DefaultDataSet> {
    static constexpr auto id = ManagementId::DefaultDataSet;
};
template <>
struct TlvOf<CurrentDataSet> {
    static constexpr auto id = ManagementId::CurrentDataSet;
};
template <>
struct TlvOf<ParentDataSet> {
    static constexpr auto id = ManagementId::ParentDataSet;
};
template <>
struct TlvOf<TimeProperties> {
    static constexpr auto id = ManagementId::TimeProperties;
};
template <>
struct TlvOf<PortDataSet> {
    static constexpr auto id = ManagementId::PortDataSet;
};
template <>
struct TlvOf<TimeStatus> {
    static constexpr auto id = ManagementId::TimeStatus;
};
template <>
struct TlvOf<GrandmasterSettings> {
    static constexpr auto id = ManagementId::GrandmasterSettings;
};
template <>
struct TlvOf<EventSubscription> {
    static constexpr auto id = ManagementId::SubscribeEvents;
};
template <>
struct TlvOf<PortProperties> {
    static constexpr auto id = ManagementId::PortProperties;
};
template <>
struct TlvOf<PortStatistics> {
    static constexpr auto id = ManagementId::PortStatistics;
};
template <>
struct TlvOf<PortServiceStatistics> {
    static constexpr auto id = ManagementId::PortServiceStatistics;
};

/** Decodes into the structure of the row; false when the data are too short. What a newer daemon appended is skipped. */
bool decode_tlv(const TlvRow &row, std::span<const std::uint8_t> data, void *structure);
/** The data of the row with the structure's values; what no field names is zero. */
std::vector<std::uint8_t> encode_tlv(const TlvRow &row, const void *structure);
/** The text at the end of such a TLV; nothing when it is cut. */
std::optional<std::string> decode_text(const TlvRow &row, std::span<const std::uint8_t> data);

template <typename Structure>
std::optional<Structure> decode(std::span<const std::uint8_t> data) {
    std::optional<Structure> result(std::in_place);
    if (!decode_tlv(*find_tlv(TlvOf<Structure>::id), data, &*result)) {
        result.reset();
    }
    return result;
}

template <typename Structure>
std::vector<std::uint8_t> encode(const Structure &structure) {
    return encode_tlv(*find_tlv(TlvOf<Structure>::id), &structure);
}

}  // namespace ptp_agent
