// The rows that every algorithm of this folder walks. Generated code fills them; nothing here knows a type's name.
#pragma once

#include "bitlog.h"
#include "operations/core/field_kind.h"
#include "velalib.h"

namespace ptp_cfg {

struct enumeration_descriptor;
struct structure_descriptor;

/** Marks a field that owns no byte of the state-flag block (the read-only length of a text). */
constexpr u_int32 no_flag = 0xFFFFFFFFu;

/** The length of a name, counted at compile time for the rows below. */
constexpr u_int32 length_of(const char *name) { return static_cast<u_int32>(__builtin_strlen(name)); }

struct field_descriptor {
    const char *name;
    const char *doc;
    const char *unit;       // nullptr where there is none
    u_int32 offset;         // from the instance's start
    u_int32 flag_position;  // in the instance's state-flag block, or no_flag
    u_int16 capacity;       // elements of an array, else 1
    u_int16 stride;         // bytes from one element to the next
    field_kind kind;        // of the field, or of its elements
    u_int8 since;           // first variant that has it
    bool is_array;
    bool is_companion;         // read-only length of the text in the next field
    u_int32 companion_offset;  // of a text: where its length (u_int8) lies; else 0
    u_int32 name_length = length_of(name);
    const enumeration_descriptor *enumeration;
    const structure_descriptor *structure;
};

struct enumeration_value {
    u_int32 number;
    const char *literal;
    const char *doc;
    u_int32 literal_length = length_of(literal);
};

struct enumeration_descriptor {
    const char *name;
    const char *doc;
    vela_type_info *type_info;
    void *error_instance;             // 16 zero bytes; returned by a chained create after a failure
    const enumeration_value *values;  // in rising order
    u_int32 value_count;
    const u_int32 *thresholds;  // thresholds[k]: first value that needs variant k + 1; latest + 1 of them
    int8 latest;
    bitlog_trace_points trace;
};

struct structure_descriptor {
    const char *name;
    const char *doc;
    vela_type_info *type_info;
    void *error_instance;  // `size` zero bytes
    const field_descriptor *fields;
    u_int32 field_count;
    u_int32 size;          // of an untracked instance
    u_int32 block_length;  // of the state-flag block that follows the body of a tracked one
    int8 latest;
    const u_int32 *validity;  // validity[k]: first field number that needs variant k + 1; latest + 1 of them
    bitlog_trace_points trace;
};

struct payload_descriptor {
    const char *name;                       // of its type
    const structure_descriptor *structure;  // nullptr when the payload is a primitive
    field_kind kind;                        // field_kind::structure, or which primitive
};

struct message_descriptor {
    const char *name;          // "ptp_clock_cfg"
    const char *type_name;     // "ptp_clock_cfg_message"
    const char *display_name;  // "message ptp_clock_cfg"
    const char *doc;
    const u_int8 *luid;
    vela_message_role role;
    vela_type_info *type_info;
    void *error_instance;
    const payload_descriptor *payloads;
    u_int32 payload_count;
    u_int32 size;
    bitlog_trace_points trace;
};

// What is long to compile and needed in several places is instantiated in one: beside the functions of its type.

enum class domain_check : u_int8;
template <const structure_descriptor &>
u_int32 structure_marshal_versioned(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *instance,
                                    int32 room, u_int32 *err, domain_check check);
template <const structure_descriptor &>
u_int32 structure_unmarshal_versioned(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, void *instance,
                                      int32 length, u_int32 mode, u_int32 *err);

struct unrolled_functions;
template <const structure_descriptor &>
struct unrolled {
    static const unrolled_functions functions;
};

/** `storage`: extern where they are only used. */
#define PTP_CFG_UNROLLED(storage, descriptor)                                                     \
    storage template u_int32 ptp_cfg::structure_marshal_versioned<descriptor>(                    \
        vela_handle *, u_int32, u_int8 *, const void *, int32, u_int32 *, ptp_cfg::domain_check); \
    storage template u_int32 ptp_cfg::structure_unmarshal_versioned<descriptor>(                  \
        vela_handle *, u_int32, const u_int8 *, void *, int32, u_int32, u_int32 *);               \
    storage template struct ptp_cfg::unrolled<descriptor>;

}  // namespace ptp_cfg
