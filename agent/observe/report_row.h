/**
 * What a report message is made of, as rows of data: which field comes from what, and how it is known. The one algorithm
 * over the rows is in observe/reporter.cpp.
 */
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include "agent/daemon.h"
#include "agent/intent/behaviour.h"
#include "agent/intent/clock_intent.h"

namespace ptp_agent {

/** How a field is known: what agent/behaviour.toml says of it, too. */
using Origin = FieldSource;

struct IpAddress {
    std::uint8_t family = 0;  ///< VELA_IP_V4, VELA_IP_V6, or 0
    std::array<std::uint8_t, 16> bytes{};

    bool operator==(const IpAddress &) const = default;
};

using MacAddress = std::array<std::uint8_t, 6>;

/** A field's value; monostate where it is not known now. */
using Value = std::variant<std::monostate, std::int64_t, ClockIdentity, MacAddress, IpAddress>;

/** A master that is or was followed, with what is known of it. */
struct MasterInfo {
    PortIdentity identity;
    std::optional<IpAddress> ip;
    std::optional<MacAddress> mac;
    std::optional<std::int64_t> stream;  ///< handle
    std::optional<std::int64_t> encapsulation;
};

/** A change of the clock's time that the daemon, or somebody else, made. */
struct TimeJump {
    enum class Kind : std::uint8_t { Set, Step } kind = Kind::Step;
    std::int64_t size_ns = 0;
};

/** Where values come from. What a row's scope does not have is null. */
struct ReportSource {
    const Observation *now = nullptr;
    const ClockIntent *intent = nullptr;  ///< null where nothing was asked, as of an adopted daemon
    std::optional<std::int64_t> clock_state;
    std::optional<PortCounters> total;  ///< of all ports, as of the last statistics
    const PortObservation *port = nullptr;
    const PortCounters *counters = nullptr;   ///< of the port, as of the last statistics
    std::optional<std::int64_t> port_handle;  ///< of the port, as the control plane named it
    const Record *stream = nullptr;
    std::optional<std::int64_t> stream_state;
    const ForeignMaster *foreign = nullptr;
    const MasterInfo *master = nullptr;
    const MasterInfo *former_master = nullptr;
    bool master_updated = false;
    const TimeJump *jump = nullptr;
};

struct FieldRow {
    enum class Role : std::uint8_t {
        Plain,
        Key,   ///< says what the record is about: always set, and no reason for a report
        Quiet  ///< changes all the time: no reason for a report by itself
    };
    const char *path;  ///< in the group's structure: "clock_quality.clock_class"
    Origin origin;
    Value (*value)(const ReportSource &);
    Role role = Role::Plain;
};

/** Rows of a structure that several messages have, at different places. */
struct RowGroup {
    std::uint32_t payload;  ///< index among the message's payloads
    const char *prefix;     ///< path to the structure in the payload, with a final dot; or empty
    std::span<const FieldRow> rows;
};

enum class Scope : std::uint8_t { Clock, Port, Stream, ForeignMaster };

/** An array of structures in a message, one element for each stream or foreign master. */
struct RowArray {
    const char *field = nullptr;  ///< of the first payload; null: the message has none
    Scope elements = Scope::Stream;
    std::span<const FieldRow> rows;
    bool (*takes)(const ReportSource &) = nullptr;  ///< which elements; null: all
    const char *count = nullptr;                    ///< field that says how many are in use; null: there is none
    bool in_parts = false;                          ///< more than fit go into further messages; else they are left out
};

struct ReportRow {
    const char *message;
    Scope scope;
    /** False: with any change the whole record is sent, because nobody could place a part of it. */
    bool by_field;
    std::span<const RowGroup> groups;
    RowArray array = {};
};

/** Events: made when something happens, never for completeness. */
const ReportRow &selected_master_event();
const ReportRow &set_time_event();
const ReportRow &step_time_event();
/** What a control plane is told first: which release it talks to. */
const ReportRow &registration();

/** The address, or nothing where the text is none. */
std::optional<IpAddress> parse_address(const std::string &text);
/** The handle of the stream whose peer the master is, or the one stream of a multicast port. */
std::optional<std::int64_t> stream_of(const ClockIntent &intent, const ForeignMaster &master);

/* The groups, one file each. */
std::span<const ReportRow> clock_report_rows();
std::span<const ReportRow> port_report_rows();
std::span<const ReportRow> master_report_rows();

}  // namespace ptp_agent
