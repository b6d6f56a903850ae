// A message with its owner, read and changed by the names of its fields.
#include "agent/intent/record.h"

#include <arpa/inet.h>

#include <cstdio>
#include <new>
#include <utility>

#include "agent/intent/fields.h"
#include "ptp_cfg/receive.h"

namespace ptp_agent {
namespace {

SharedHandle create(const vela_handle_options *options) {
    u_int32 err = 0;
    vela_handle *handle = vela_handle_create(options, &err);
    if (handle == nullptr) {
        throw std::bad_alloc();
    }
    return SharedHandle(handle, [](vela_handle *old) { vela_handle_destroy(old, nullptr); });
}

}  // namespace

SharedHandle make_handle() { return create(nullptr); }

SharedHandle make_tracking_handle(u_int32 header_word) {
    vela_handle_options options = {};
    options.size = sizeof options;
    options.tracking = VELA_STTR_ON;
    options.msg_header_word = header_word;
    return create(&options);
}

Record::Record(SharedHandle handle, const ptp_cfg_type *type)
    : handle_(std::move(handle)),
      type_(type),
      message_(describe(type).operations->create(handle_.get(), memory_class)) {
    if (message_ == nullptr) {
        throw std::bad_alloc();
    }
}

Record::Record(SharedHandle handle, const ptp_cfg_type *type, void *message)
    : handle_(std::move(handle)), type_(type), message_(message) {}

// What was moved from keeps its handle, too: a record always has one.
Record::Record(Record &&other) noexcept  // NOLINTNEXTLINE(performance-move-constructor-init)
    : handle_(other.handle_), type_(other.type_), message_(std::exchange(other.message_, nullptr)) {}

Record &Record::operator=(Record &&other) noexcept {
    std::swap(handle_, other.handle_);
    std::swap(type_, other.type_);
    std::swap(message_, other.message_);
    return *this;
}

Record::~Record() {
    if (message_ != nullptr) {
        ptp_cfg_message_destroy(handle_.get(), memory_class, type_, message_);
    }
}

Record Record::clone() const {
    Record copy(handle_, type_);
    if (!copy_payload({type_, handle_.get(), message_}, {type_, handle_.get(), copy.message_}, Copied::All)) {
        throw std::bad_alloc();
    }
    return copy;
}

std::string_view Record::name() const { return describe(type_).short_name; }

void *Record::payload() const {
    u_int32 err = 0;
    return fields_of(type_).front().type == nullptr
               ? nullptr
               : ptp_cfg_field_get(type_, 0, handle_.get(), memory_class, message_, 0, &err);
}

std::optional<std::int64_t> Record::number(std::string_view path) const {
    const auto place = find_field(type_, handle_.get(), message_, path);
    if (!place) {
        return std::nullopt;
    }
    u_int32 err = 0;
    const u_int64 value = ptp_cfg_field_get_value(place->owner, place->index, handle_.get(), memory_class,
                                                  place->instance, place->element, &err);
    return err == 0 ? std::optional(static_cast<std::int64_t>(value)) : std::nullopt;
}

namespace {

/** The storage of a field of that kind; nullptr where the path leads to none. */
const void *storage(const Record &record, std::string_view path, ptp_cfg_field_class kind, std::string_view type_name) {
    const auto place = find_field(record.type(), record.handle(), record.message(), path);
    if (!place || place->about->kind != kind || (!type_name.empty() && type_name != place->about->type_name)) {
        return nullptr;
    }
    u_int32 err = 0;
    return ptp_cfg_field_get(place->owner, place->index, record.handle(), memory_class, place->instance, place->element,
                             &err);
}

std::string literal_or_number(const ptp_cfg_type *type, std::int64_t number) {
    ptp_cfg_literal literal{};
    for (u_int32 index = 0; ptp_cfg_literal_describe(type, index, &literal) != 0; ++index) {
        if (literal.number == static_cast<u_int64>(number)) {
            return literal.literal;
        }
    }
    return std::to_string(number);
}

}  // namespace

std::string to_text(const ip_address &address) {
    char text[INET6_ADDRSTRLEN] = "none";
    if (address.family == VELA_IP_V4 || address.family == VELA_IP_V6) {
        ::inet_ntop(address.family == VELA_IP_V4 ? AF_INET : AF_INET6, address.bytes, text, sizeof text);
    }
    return text;
}

std::string to_text(const en_address &address) {
    char text[18];
    const u_int8 *octet = address.octet;
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", octet[0], octet[1], octet[2], octet[3], octet[4],
                  octet[5]);
    return text;
}

std::string Record::text(std::string_view path) const {
    const auto *characters = static_cast<const char *>(storage(*this, path, PTP_CFG_FIELD_TEXT, {}));
    if (characters == nullptr) {
        return {};
    }
    const auto place = find_field(type_, handle_.get(), message_, path);
    return {characters, text_length(place->owner, place->index, handle_.get(), place->instance)};
}

const ip_address *Record::ip(std::string_view path) const {
    return static_cast<const ip_address *>(storage(*this, path, PTP_CFG_FIELD_OPAQUE, "ip_address"));
}

const en_address *Record::mac(std::string_view path) const {
    return static_cast<const en_address *>(storage(*this, path, PTP_CFG_FIELD_OPAQUE, "en_address"));
}

const vrf_info *Record::vrf(std::string_view path) const {
    return static_cast<const vrf_info *>(storage(*this, path, PTP_CFG_FIELD_OPAQUE, "vrf_info"));
}

std::string Record::shown(std::string_view path) const {
    const auto place = find_field(type_, handle_.get(), message_, path);
    if (!place) {
        return "absent";
    }
    if (const ip_address *address = ip(path)) {
        return to_text(*address);
    }
    if (const en_address *address = mac(path)) {
        return to_text(*address);
    }
    if (const vrf_info *descriptor = vrf(path)) {
        return std::to_string(descriptor->id);
    }
    if (place->about->kind == PTP_CFG_FIELD_TEXT) {
        return text(path);
    }
    const std::optional<std::int64_t> value = number(path);
    if (!value) {
        return "absent";
    }
    const bool is_boolean = place->about->kind == PTP_CFG_FIELD_BOOLEAN;
    const bool is_literal = place->about->kind == PTP_CFG_FIELD_ENUMERATION;
    return is_boolean   ? *value != 0 ? "true" : "false"
           : is_literal ? literal_or_number(place->about->type, *value)
                        : std::to_string(*value);
}

bool Record::set(std::string_view path, std::int64_t value) {
    const auto place = find_field(type_, handle_.get(), message_, path);
    if (!place) {
        return false;
    }
    u_int32 err = 0;
    ptp_cfg_field_set_value(place->owner, place->index, handle_.get(), memory_class, place->instance, place->element,
                            static_cast<u_int64>(value), &err);
    return err == 0;
}

}  // namespace ptp_agent
