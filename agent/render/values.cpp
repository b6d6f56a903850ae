// Values of the data model in the numbers of PTP messages.
#include "agent/render/values.h"

#include <algorithm>
#include <array>

namespace ptp_agent {
namespace {

constexpr std::int64_t best_accuracy = 1;    // VELA_PTP_CLOCK_ACCURACY_WITHIN_25ns, 0x20
constexpr std::int64_t worst_accuracy = 18;  // VELA_PTP_CLOCK_ACCURACY_WORSE_THAN_10s, 0x31
constexpr std::uint8_t unknown_accuracy = 0xFE;

/** By the numbers of ptp_clock_time_source (IEEE 1588-2008, table 7). */
constexpr std::array<std::uint8_t, 8> time_sources = {0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0x90, 0xA0};
constexpr std::size_t other_source = 6;

}  // namespace

std::uint8_t accuracy_octet(std::int64_t number) {
    return number < best_accuracy || number > worst_accuracy ? unknown_accuracy
                                                             : static_cast<std::uint8_t>(0x1F + number);
}

std::int64_t accuracy_number(std::uint8_t octet) {
    const std::int64_t number = octet - 0x1F;
    return number < best_accuracy || number > worst_accuracy ? 0 : number;
}

std::uint8_t time_source_octet(std::int64_t number) {
    const auto index = static_cast<std::size_t>(number);
    return time_sources[index < time_sources.size() ? index : other_source];
}

std::int64_t time_source_number(std::uint8_t octet) {
    const auto *const place = std::find(time_sources.begin(), time_sources.end(), octet);
    return place == time_sources.end() ? static_cast<std::int64_t>(other_source) : place - time_sources.begin();
}

ClockQuality quality_at(const Record &record, const std::string &path) {
    ClockQuality quality;
    quality.clock_class = static_cast<std::uint8_t>(record.number_or(path + ".clock_class", quality.clock_class));
    quality.clock_accuracy = accuracy_octet(record.number_or(path + ".clock_accuracy", 0));
    quality.offset_scaled_log_variance =
        static_cast<std::uint16_t>(record.number_or(path + ".offset_scaled_log_var", -1));
    return quality;
}

}  // namespace ptp_agent
