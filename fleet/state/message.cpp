// Reads messages by reflection, so that a type that the schema gains needs no line here.
#include "message.h"

#include <stdexcept>
#include <utility>

#include "agent/intent/fields.h"
#include "ptp_cfg/json.h"
#include "ptp_cfg/receive.h"

namespace ptp_fleet {
namespace {

using ptp_agent::describe;
using ptp_agent::memory_class;

constexpr std::size_t tracked_offset = 7;  // in a message's header
constexpr std::size_t word_offset = 8;

/** A handle belongs to one thread. */
class owned_handle {
  public:
    explicit owned_handle(u_int32 tracking) {
        vela_handle_options options = {};
        options.size = sizeof options;
        options.tracking = tracking;
        u_int32 err = 0;
        handle_ = vela_handle_create(&options, &err);
        if (handle_ == nullptr) {
            throw std::bad_alloc();
        }
    }
    owned_handle(const owned_handle &) = delete;
    owned_handle &operator=(const owned_handle &) = delete;
    ~owned_handle() { vela_handle_destroy(handle_, nullptr); }
    vela_handle *get() const { return handle_; }

  private:
    vela_handle *handle_ = nullptr;
};

vela_handle *handle_for(bool is_tracked) {
    thread_local const owned_handle tracking(VELA_STTR_ON), plain(VELA_STTR_OFF);
    return is_tracked ? tracking.get() : plain.get();
}

std::string reason_of(vela_handle *handle, u_int32 err) {
    char text[256];
    vela_error_text(handle, err, text, sizeof text);
    return text;
}

}  // namespace

std::uint32_t header_word_of(std::span<const std::uint8_t> bytes) {
    std::uint32_t word = 0;
    for (std::size_t i = word_offset; bytes.size() >= PTP_CFG_MESSAGE_PREFIX && i < word_offset + 4; ++i) {
        word = word << 8 | bytes[i];
    }
    return word;
}

decoded_message::decoded_message(std::span<const std::uint8_t> bytes)
    : word_(header_word_of(bytes)), is_tracked_(bytes.size() > tracked_offset && bytes[tracked_offset] != 0) {
    handle_ = handle_for(is_tracked_);
    u_int32 err = 0;
    u_int32 consumed = 0;
    const auto length = static_cast<u_int32>(bytes.size());
    instance_ = ptp_cfg_receive(handle_, memory_class, &type_, bytes.data(), length, &consumed, &err);
    if (err != 0) {
        const std::string name = type_ == nullptr ? "no known message" : describe(type_).short_name;
        throw std::runtime_error(name + ": " + reason_of(handle_, err));
    }
    if (consumed != length) {
        const std::string name = describe(type_).short_name;
        ptp_cfg_message_destroy(handle_, memory_class, type_, instance_);
        throw std::runtime_error(name + ": " + std::to_string(length - consumed) + " bytes behind its end");
    }
}

decoded_message::decoded_message(decoded_message &&other) noexcept
    : handle_(other.handle_),
      type_(other.type_),
      instance_(std::exchange(other.instance_, nullptr)),
      word_(other.word_),
      is_tracked_(other.is_tracked_) {}

decoded_message::~decoded_message() {
    if (instance_ != nullptr) {
        ptp_cfg_message_destroy(handle_, memory_class, type_, instance_);
    }
}

const char *decoded_message::name() const { return describe(type_).short_name; }

std::optional<std::int64_t> decoded_message::number(std::string_view path) const {
    const auto place = ptp_agent::find_field(type_, handle_, instance_, path);
    if (!place || (is_tracked_ && !ptp_agent::is_given(type_, handle_, instance_, path))) {
        return std::nullopt;
    }
    u_int32 err = 0;
    const u_int64 value = ptp_cfg_field_get_value(place->owner, place->index, handle_, memory_class, place->instance,
                                                  place->element, &err);
    return err == 0 ? std::optional(static_cast<std::int64_t>(value)) : std::nullopt;
}

std::optional<clock_identity> decoded_message::identity(std::string_view path) const {
    const auto place = ptp_agent::find_field(type_, handle_, instance_, path);
    if (!place || place->about->capacity != std::tuple_size_v<clock_identity> ||
        (is_tracked_ && !ptp_agent::is_given(type_, handle_, instance_, path))) {
        return std::nullopt;
    }
    clock_identity result;
    u_int32 err = 0;
    for (u_int32 i = 0; i < result.size(); ++i) {
        result[i] = static_cast<std::uint8_t>(
            ptp_cfg_field_get_value(place->owner, place->index, handle_, memory_class, place->instance, i, &err));
    }
    return err == 0 ? std::optional(result) : std::nullopt;
}

std::string decoded_message::json() const {
    ptp_cfg_json_options options = {};
    options.size = sizeof options;
    options.rules = PTP_CFG_JSON_STATE_FLAGS;
    std::string text(4096, ' ');
    for (;;) {
        u_int32 err = 0;
        const u_int32 length = ptp_cfg_to_json(handle_, memory_class, type_, instance_, text.data(),
                                               static_cast<u_int32>(text.size()), &options, &err);
        if (err != VELA_EMSGSIZE) {
            text.resize(err == 0 ? length : 0);
            return text;
        }
        text.resize(length);
    }
}

void decoded_message::take(const decoded_message &other) {
    for (u_int32 payload = 0; payload < describe(type_).field_count; ++payload) {
        ptp_agent::copy_payload({type_, other.handle_, other.instance_}, {type_, handle_, instance_},
                                other.is_tracked_ ? ptp_agent::Copied::Flagged : ptp_agent::Copied::All, payload);
    }
}

std::vector<std::uint8_t> decoded_message::bytes() const {
    const ptp_cfg_operations &calls = *describe(type_).operations;
    handle_->msg_header_word = word_;
    u_int32 err = 0;
    // Too short a room would leave flags out without a word; one byte beyond it may be stored.
    const u_int32 room = 2 * calls.len(handle_, memory_class, instance_) + 64;
    std::vector<std::uint8_t> result(room + 1);
    result.resize(calls.marshal(handle_, memory_class, result.data(), instance_, room, &err));
    return result;
}

}  // namespace ptp_fleet
