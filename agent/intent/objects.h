// The kinds of objects that the intent has, and what each message does to them, as rows.
#pragma once

#include <span>
#include <string_view>

#include "agent/intent/intent.h"

namespace ptp_agent {

/** What all objects of a kind have in common. */
struct ObjectClass {
    ObjectKind kind;
    std::string_view message;                ///< that holds one
    std::string_view noun;                   ///< "port"; empty for a setting
    std::span<const std::string_view> keys;  ///< fields that name it, the clock's first; none for a setting
    std::size_t IntentLimits::*limit;        ///< nullptr: as many as there are of what they belong to
    bool is_status;                          ///< stale once the machine was restarted
};

const ObjectClass &class_of(ObjectKind kind);
std::span<const ObjectClass> object_classes();

/** A field of a command and the field of the object that it changes. */
struct FieldMove {
    std::string_view from;
    std::string_view to;
};

/** What a message does to an object. */
struct MessageAction {
    enum class Verb {
        Configure,  ///< creates or replaces it; with `modify` true it changes it
        Change,     ///< changes one that exists, by a record of the same type
        Move,       ///< changes one that exists, field by field
        Set,        ///< creates or replaces it
        Delete
    };
    std::string_view message;
    Verb verb;
    ObjectKind kind;
    std::span<const std::string_view> keys;  ///< fields of this message that name the object
    std::span<const FieldMove> moves;        ///< for Move
};

/** nullptr for a message that does nothing to the intent. */
const MessageAction *action_of(std::string_view message);
std::span<const MessageAction> message_actions();

/** The key that fields of a record give. */
ObjectKey key_of(ObjectKind kind, std::span<const std::string_view> fields, const Record &record);

}  // namespace ptp_agent
