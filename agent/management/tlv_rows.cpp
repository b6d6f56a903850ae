// Where each field of a management TLV lies, and which member it is.
#include <cstddef>

#include "agent/management/tlv.h"

namespace ptp_agent {
namespace {

// A macro for want of another way to have offset and width of a member at once.
#define AT(structure, member) static_cast<std::uint16_t>(offsetof(structure, member))
#define WIDTH(structure, member) static_cast<std::uint16_t>(sizeof(structure::member))
#define NUMBER(offset, structure, member) \
    { offset, FieldKind::Number, WIDTH(structure, member), 1, AT(structure, member) }
#define OCTETS(offset, structure, member) \
    { offset, FieldKind::Octets, WIDTH(structure, member), 1, AT(structure, member) }
#define BIT(offset, position, structure, member) \
    { offset, FieldKind::Bit, position, 1, AT(structure, member) }
// Members of members, whose width sizeof cannot be asked that way.
#define NESTED(offset, width, structure, member) \
    { offset, FieldKind::Number, width, 1, AT(structure, member) }
#define IDENTITY(offset, structure, member) \
    {offset, FieldKind::Octets, 8, 1, AT(structure, member.clock)}, NESTED(offset + 8, 2, structure, member.port)
#define QUALITY(offset, structure, member)                                                                     \
    NESTED(offset, 1, structure, member.clock_class), NESTED(offset + 1, 1, structure, member.clock_accuracy), \
        NESTED(offset + 2, 2, structure, member.offset_scaled_log_variance)

constexpr TlvField default_data_set[] = {
    BIT(0, 0, DefaultDataSet, two_step),     BIT(0, 1, DefaultDataSet, slave_only),
    NUMBER(2, DefaultDataSet, number_ports), NUMBER(4, DefaultDataSet, priority1),
    QUALITY(5, DefaultDataSet, quality),     NUMBER(9, DefaultDataSet, priority2),
    OCTETS(10, DefaultDataSet, identity),    NUMBER(18, DefaultDataSet, domain),
};

constexpr TlvField current_data_set[] = {
    NUMBER(0, CurrentDataSet, steps_removed),
    NUMBER(2, CurrentDataSet, offset_from_master),
    NUMBER(10, CurrentDataSet, mean_path_delay),
};

constexpr TlvField parent_data_set[] = {
    IDENTITY(0, ParentDataSet, parent),
    {10, FieldKind::Truth, 1, 1, AT(ParentDataSet, parent_stats)},
    NUMBER(12, ParentDataSet, observed_offset_scaled_log_variance),
    NUMBER(14, ParentDataSet, observed_clock_phase_change_rate),
    NUMBER(18, ParentDataSet, grandmaster_priority1),
    QUALITY(19, ParentDataSet, grandmaster_quality),
    NUMBER(23, ParentDataSet, grandmaster_priority2),
    OCTETS(24, ParentDataSet, grandmaster),
};

constexpr TlvField time_properties[] = {
    NUMBER(0, TimeProperties, current_utc_offset),
    BIT(2, 0, TimeProperties, leap61),
    BIT(2, 1, TimeProperties, leap59),
    BIT(2, 2, TimeProperties, current_utc_offset_valid),
    BIT(2, 3, TimeProperties, ptp_timescale),
    BIT(2, 4, TimeProperties, time_traceable),
    BIT(2, 5, TimeProperties, frequency_traceable),
    NUMBER(3, TimeProperties, time_source),
};

constexpr TlvField port_data_set[] = {
    IDENTITY(0, PortDataSet, identity),
    NUMBER(10, PortDataSet, state),
    NUMBER(11, PortDataSet, log_min_delay_req_interval),
    NUMBER(12, PortDataSet, peer_mean_path_delay),
    NUMBER(20, PortDataSet, log_announce_interval),
    NUMBER(21, PortDataSet, announce_receipt_timeout),
    NUMBER(22, PortDataSet, log_sync_interval),
    NUMBER(23, PortDataSet, delay_mechanism),
    NUMBER(24, PortDataSet, log_min_pdelay_req_interval),
    {25, FieldKind::LowNibble, 1, 1, AT(PortDataSet, version)},
};

constexpr TlvField single_octet[] = {NUMBER(0, SingleOctet, value)};

constexpr TlvField time_status[] = {
    NUMBER(0, TimeStatus, master_offset_ns),
    NUMBER(8, TimeStatus, ingress_time_ns),
    {38, FieldKind::Truth, 4, 1, AT(TimeStatus, grandmaster_present)},
    OCTETS(42, TimeStatus, grandmaster),
};

constexpr TlvField grandmaster_settings[] = {
    QUALITY(0, GrandmasterSettings, quality),
    NESTED(4, 2, GrandmasterSettings, properties.current_utc_offset),
    BIT(6, 0, GrandmasterSettings, properties.leap61),
    BIT(6, 1, GrandmasterSettings, properties.leap59),
    BIT(6, 2, GrandmasterSettings, properties.current_utc_offset_valid),
    BIT(6, 3, GrandmasterSettings, properties.ptp_timescale),
    BIT(6, 4, GrandmasterSettings, properties.time_traceable),
    BIT(6, 5, GrandmasterSettings, properties.frequency_traceable),
    NESTED(7, 1, GrandmasterSettings, properties.time_source),
};

constexpr TlvField subscribe_events[] = {
    NUMBER(0, EventSubscription, duration_s),
    OCTETS(2, EventSubscription, events),
};

constexpr TlvField port_properties[] = {
    IDENTITY(0, PortProperties, identity),
    NUMBER(10, PortProperties, state),
    NUMBER(11, PortProperties, timestamping),
};

// The daemon sends its counters as they lie in the memory of a little-endian machine.
constexpr TlvField port_statistics[] = {
    IDENTITY(0, PortStatistics, identity),
    {10, FieldKind::LittleEndian, 8, 16, AT(PortStatistics, counters.received)},
    {138, FieldKind::LittleEndian, 8, 16, AT(PortStatistics, counters.sent)},
};

constexpr TlvField port_service_statistics[] = {
    IDENTITY(0, PortServiceStatistics, identity),
    {10, FieldKind::LittleEndian, 8, 10, AT(PortServiceStatistics, counters)},
};

constexpr TlvRow rows[] = {
    {ManagementId::DefaultDataSet, "DEFAULT_DATA_SET", 20, false, sizeof(DefaultDataSet), default_data_set},
    {ManagementId::CurrentDataSet, "CURRENT_DATA_SET", 18, false, sizeof(CurrentDataSet), current_data_set},
    {ManagementId::ParentDataSet, "PARENT_DATA_SET", 32, false, sizeof(ParentDataSet), parent_data_set},
    {ManagementId::TimeProperties, "TIME_PROPERTIES_DATA_SET", 4, false, sizeof(TimeProperties), time_properties},
    {ManagementId::PortDataSet, "PORT_DATA_SET", 26, false, sizeof(PortDataSet), port_data_set},
    {ManagementId::Priority1, "PRIORITY1", 2, false, sizeof(SingleOctet), single_octet},
    {ManagementId::Priority2, "PRIORITY2", 2, false, sizeof(SingleOctet), single_octet},
    {ManagementId::TimeStatus, "TIME_STATUS_NP", 50, false, sizeof(TimeStatus), time_status},
    {ManagementId::GrandmasterSettings, "GRANDMASTER_SETTINGS_NP", 8, false, sizeof(GrandmasterSettings),
     grandmaster_settings},
    {ManagementId::SubscribeEvents, "SUBSCRIBE_EVENTS_NP", 66, false, sizeof(EventSubscription), subscribe_events},
    {ManagementId::PortProperties, "PORT_PROPERTIES_NP", 12, true, sizeof(PortProperties), port_properties},
    {ManagementId::PortStatistics, "PORT_STATS_NP", 266, false, sizeof(PortStatistics), port_statistics},
    {ManagementId::SynchronizationUncertain, "SYNCHRONIZATION_UNCERTAIN_NP", 2, false, sizeof(SingleOctet),
     single_octet},
    {ManagementId::PortServiceStatistics, "PORT_SERVICE_STATS_NP", 90, false, sizeof(PortServiceStatistics),
     port_service_statistics},
};

}  // namespace

std::span<const TlvRow> tlv_rows() { return rows; }

}  // namespace ptp_agent
