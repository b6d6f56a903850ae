// How values are written in XML and shown in text: for people, who write addresses and identities their way.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "reflection.h"

namespace ptpcfg {

/** A primitive type as it is documented. */
struct primitive_doc {
    const char *name;
    const char *doc;
    const char *form;     // completes "is written as ..."
    const char *pattern;  // of its texts, or nullptr
};

std::span<const primitive_doc> primitive_docs();
/** The primitive of a name, or nullptr. */
const primitive_doc *primitive_named(std::string_view name);

/** How a value of a field is written, or an empty text where the type's own documentation tells. */
std::string form_of(const ptp_cfg_field_description &field);

/** Whether a structure is nothing but bytes, such as an identity, which has a text form of its own. */
bool is_byte_list(const ptp_cfg_type *type);
std::string form_of_byte_list(const ptp_cfg_type *type);

/** Whether a field is a number that stands for an IPv4 address. */
bool is_ipv4_number(const ptp_cfg_field_description &field);
/** What is shown behind such a number, " (192.0.2.1)"; nothing where there is no address. */
std::string note_on_address(u_int32 address);

/** The text of print with addresses explained. */
std::string explained_print(std::string_view text, const ptp_cfg_type *type);

}  // namespace ptpcfg
