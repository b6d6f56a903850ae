// Writing an XML element as a whole: its size is known before its first byte is written.
#pragma once

#include <cstddef>

#include "velalib/runtime.h"

namespace velalib {

/** An element whose tags are written, with a gap for its text between them. */
struct open_element {
    char *text;      // nullptr: it does not fit, and *err is set
    u_int32 length;  // of the whole element
};

/** Writes the start tag and, at its place, the end tag of an element with `text_length` bytes of text. */
open_element write_tags(vela_handle *handle, const char *name, char *buffer, size_t text_length, u_int32 room,
                        u_int8 state_flag, u_int32 *err);

/** Writes <NAME>TEXT</NAME> of a text that needs no escapes, all or nothing; returns the characters written. */
u_int32 write_element(vela_handle *handle, const char *name, char *buffer, const char *text, size_t text_length,
                      u_int32 room, u_int8 state_flag, u_int32 *err);

}  // namespace velalib
