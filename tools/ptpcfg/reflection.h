// The reflection API as values: descriptions that are filled and returned, names, error words in words.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ptp_cfg/reflect.h"

namespace ptpcfg {

/** Every call of the tool uses this memory class. */
constexpr u_int32 memory_class = 0;

struct enumeration_literal {
    u_int32 number;
    std::string literal;
    std::string doc;
    u_int8 since;
};

ptp_cfg_type_description describe(const ptp_cfg_type *type);
/** "has the variants 0 to 2", for a sentence about a type. */
std::string variants_text(const ptp_cfg_type_description &type);

/** Made once for each type. */
const std::vector<ptp_cfg_field_description> &fields_of(const ptp_cfg_type *type);
std::vector<enumeration_literal> literals_of(const ptp_cfg_type *type);
std::optional<enumeration_literal> literal_of(const ptp_cfg_type *type, u_int32 number);

/** Finds a type or message by name; fails with a usage error that suggests the nearest name. */
const ptp_cfg_type *type_named(const std::string &name);

/** The name among `known` that was probably meant, or an empty text. */
std::string nearest_name(const std::string &name, const std::vector<std::string> &known);

/** ": did you mean NAME?", or an empty text. */
std::string suggestion(const std::string &name, const std::vector<std::string> &known);

/** Finds a message by name; fails with a usage error that says where the names are. */
const ptp_cfg_type *message_named(const std::string &name);

/** What an error word says, for a sentence. */
std::string error_text(u_int32 code);
/** The same with the call of the library that failed and its reason, for errors that a record's content explains. */
std::string error_text(vela_handle *handle, u_int32 code);

/** What an errno of a file says. */
std::string system_error_text(u_int32 code);

}  // namespace ptpcfg
