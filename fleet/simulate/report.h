// What a simulated element says.
#pragma once

#include <cstdint>
#include <span>

namespace ptp_fleet {

struct report {
    std::uint32_t element;
    const char *message;  // short name
    std::span<const std::uint8_t> bytes;
};

}  // namespace ptp_fleet
