// A message with its owner, read and changed by the names of its fields.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/reflect.h"

namespace ptp_agent {

/** Whose memory instances are; every record keeps its handle alive. One thread at a time, as all handles. */
using SharedHandle = std::shared_ptr<vela_handle>;

/** Creates a handle without state tracking; throws std::bad_alloc. */
SharedHandle make_handle();
/**
 * Creates a handle that tracks the state of fields; throws std::bad_alloc.
 * @param header_word  what the header of every message that it sends says
 */
SharedHandle make_tracking_handle(u_int32 header_word = 0);

/** 192.0.2.1, 2001:db8::1 or "none" */
std::string to_text(const ip_address &address);
/** 02:00:00:00:00:01 */
std::string to_text(const en_address &address);

/**
 * A message of any type. Paths name fields of its payload, one name after the other: "clock_quality.clock_class". The path
 * of a payload that is one bare value is empty. A field that the type, or the instance's variant, does not have is absent.
 */
class Record {
  public:
    /** An empty message; throws std::bad_alloc. */
    Record(SharedHandle handle, const ptp_cfg_type *type);
    /** Takes over a message that was made with `handle`. */
    Record(SharedHandle handle, const ptp_cfg_type *type, void *message);
    Record(Record &&other) noexcept;
    Record &operator=(Record &&other) noexcept;
    ~Record();

    /** A copy that shares nothing but the handle; throws std::bad_alloc. */
    Record clone() const;

    const ptp_cfg_type *type() const { return type_; }
    /** "ptp_clock_cfg" */
    std::string_view name() const;
    void *message() const { return message_; }
    vela_handle *handle() const { return handle_.get(); }
    /** The payload as its own type, for the typed functions; nullptr where the payload is a bare value. */
    void *payload() const;

    /** A number, truth value (0 or 1) or enumeration's number. */
    std::optional<std::int64_t> number(std::string_view path) const;
    /** The same, or a default where the field is absent. */
    std::int64_t number_or(std::string_view path, std::int64_t otherwise) const {
        return number(path).value_or(otherwise);
    }
    bool is_true(std::string_view path) const { return number_or(path, 0) != 0; }
    /** A text field; empty where it is absent. */
    std::string text(std::string_view path) const;
    /** An address or VRF in memory; nullptr where it is absent. */
    const ip_address *ip(std::string_view path) const;
    const en_address *mac(std::string_view path) const;
    const vrf_info *vrf(std::string_view path) const;
    /** Any value as people write it: 24, true, VELA_PTP_CFG_PORT_ENCAP_IPV4, 192.0.2.1, eth0. */
    std::string shown(std::string_view path) const;

    /** Sets a number, truth value or enumeration; false when there is no such field or it does not take the value. */
    bool set(std::string_view path, std::int64_t value);

  private:
    SharedHandle handle_;
    const ptp_cfg_type *type_;
    void *message_;
};

}  // namespace ptp_agent
