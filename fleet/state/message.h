// A message out of its bytes: its values by their paths, as JSON, and merged with what came of it before.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "clock_summary.h"
#include "ptp_cfg/reflect.h"

namespace ptp_fleet {

/** Belongs to the thread that read it. */
class decoded_message {
  public:
    /** Throws std::runtime_error when the bytes are no message, or more than one. */
    explicit decoded_message(std::span<const std::uint8_t> bytes);
    decoded_message(decoded_message &&other) noexcept;
    decoded_message(const decoded_message &) = delete;
    decoded_message &operator=(const decoded_message &) = delete;
    decoded_message &operator=(decoded_message &&) = delete;
    ~decoded_message();

    const char *name() const;
    const ptp_cfg_type *type() const { return type_; }
    /** The number that its sender put into the header. */
    std::uint32_t header_word() const { return word_; }
    /** Whether its fields have flags that say which of them were set. */
    bool is_tracked() const { return is_tracked_; }

    /** A field of the first payload by its path, "clock_quality.clock_class"; nothing when it was not set. */
    std::optional<std::int64_t> number(std::string_view path) const;
    std::optional<clock_identity> identity(std::string_view path) const;

    /** With the flags of fields in "$state". */
    std::string json() const;

    /** Takes what the other, of the same type, has set; what it has not set stays. */
    void take(const decoded_message &other);
    std::vector<std::uint8_t> bytes() const;

  private:
    vela_handle *handle_ = nullptr;
    const ptp_cfg_type *type_ = nullptr;
    void *instance_ = nullptr;
    std::uint32_t word_ = 0;
    bool is_tracked_ = false;
};

/** The header word of a message without reading more of it; 0 where there is none. */
std::uint32_t header_word_of(std::span<const std::uint8_t> bytes);

}  // namespace ptp_fleet
