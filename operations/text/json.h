// JSON form: an object per structure, a member per field.
#pragma once

#include <string_view>

#include "operations/message/message.h"

namespace ptp_cfg {

// Rules of writing and reading, as the public options have them.
constexpr u_int32 json_state_flags = 1;
constexpr u_int32 json_variants = 2;
constexpr u_int32 json_qualified = 4;
constexpr u_int32 json_skip_unknown = 8;
constexpr u_int32 json_all_fields = 16;
constexpr u_int32 json_every_rule = 31;

/** What stands before a message's name where it is qualified. */
constexpr char json_module[] = "ptp_cfg:";
constexpr u_int32 json_module_length = sizeof json_module - 1;

// Members that stand for no field.
constexpr char json_variant_member[] = "$variant";
constexpr char json_value_member[] = "value";
constexpr char json_state_member[] = "$state";
constexpr char json_bytes_member[] = "$bytes";

/** A text in the making: what does not fit is counted, but not stored. */
struct json_target {
    vela_handle *handle;
    u_int32 mem_class;
    u_int32 rules;
    u_int32 indent;
    char *buffer;
    u_int32 room;
};

// Each returns the characters that the whole text needs.

u_int32 enumeration_to_json(const enumeration_descriptor &type, const json_target &target, const void *instance);
u_int32 structure_to_json(const structure_descriptor &type, const json_target &target, const void *instance);
u_int32 message_to_json(const message_descriptor &type, const json_target &target, const void *message);

struct json_place {
    size_t offset;
    u_int32 line;
    u_int32 column;
    const char *path;
    const char *reason;
    u_int32 code;
};

/** A text to be read, and who is told what is wrong with it. */
struct json_source {
    vela_handle *handle;
    u_int32 mem_class;
    u_int32 rules;
    const char *text;
    size_t length;
    void (*tell)(void *listener, const json_place &place);
    void *listener;
};

/** Whose instance a reading goes into: its own, which is destroyed after a failure, or the caller's. */
enum class json_owner : u_int8 { reading, caller };

// Each stores its error in *err. An instance of the caller's is changed only when there is none.

void enumeration_from_json(const enumeration_descriptor &type, const json_source &source, void *instance,
                           json_owner owner, u_int32 *err);
void structure_from_json(const structure_descriptor &type, const json_source &source, void *instance, json_owner owner,
                         u_int32 *err);
/** @param absent  receives, by payload, whether the text says that there is none; such payloads are left as they are */
void message_from_json(const message_descriptor &type, const json_source &source, void *message, json_owner owner,
                       bool *absent, u_int32 *err);

/** The name of a text's first member, without the module's; length 0 when there is none. */
std::string_view json_first_member(const char *text, size_t length);

}  // namespace ptp_cfg
