// Fields of records by reflection: where a path leads, and copies of some or all of them.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "ptp_cfg/reflect.h"

namespace ptp_agent {

/** Every call of the agent's own uses this memory class. */
inline constexpr u_int32 memory_class = 0;

ptp_cfg_type_description describe(const ptp_cfg_type *type);
/** Fields of a structure or payloads of a message; kept for each type. */
const std::vector<ptp_cfg_field_description> &fields_of(const ptp_cfg_type *type);

/** A field in an instance: what reads and sets it. */
struct FieldPlace {
    const ptp_cfg_type *owner;
    void *instance;  ///< of the owner
    u_int32 index;
    u_int32 element;
    const ptp_cfg_field_description *about;
};

/** Where a path leads from a message; nothing when it leads nowhere in this instance. Elements are written [3]. */
std::optional<FieldPlace> find_field(const ptp_cfg_type *message_type, vela_handle *handle, void *message,
                                     std::string_view path);

/** Which fields of a source are copied. */
enum class Copied { All, Flagged };

/** Whether the payload of a message carries state flags: its handle tracks, and any is set. */
bool has_state_flags(const ptp_cfg_type *message_type, vela_handle *handle, void *message);

/** Whether a field's flag is set, or that of a structure around it; without flags every field is given. */
bool is_given(const ptp_cfg_type *message_type, vela_handle *handle, void *message, std::string_view path);

/** Characters of a text field, which the field before it counts. */
u_int32 text_length(const ptp_cfg_type *owner, u_int32 index, vela_handle *handle, void *instance);

/** Copies one value between fields of types that may differ; false when it was refused. Not for texts and structures. */
bool copy_between(const FieldPlace &from, vela_handle *from_handle, const FieldPlace &to, vela_handle *to_handle);

/** A message with what reads it. */
struct MessageView {
    const ptp_cfg_type *type;
    vela_handle *handle;
    void *message;
};

/**
 * Copies a payload between messages that have one of the same type there. The two handles may track state or not.
 * @param which  Flagged: only fields that the source's flags name, itself or with the structure that they are in
 * @return false when a value was refused; the destination is then partly filled
 */
bool copy_payload(const MessageView &from, const MessageView &to, Copied which, u_int32 index = 0);

}  // namespace ptp_agent
