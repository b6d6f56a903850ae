// The textual forms of bytes: what XML and a printed line can carry stands for itself, the rest is escaped.
#pragma once

#include <cstddef>

#include "velalib/types.h"

namespace values {

enum class text_form { xml, line };

/** Length of the UTF-8 character that begins with a byte from 0x80; 0 for bytes that are none, or not one of XML's. */
size_t xml_character_length(const char *bytes, size_t left);

/** Length of the escaped form of some bytes. */
size_t escaped_length(text_form form, const char *bytes, size_t count);
/** Writes the escaped form, exactly that long. */
void escape(text_form form, const char *bytes, size_t count, char *out);

/**
 * Counts the bytes that an XML text stands for.
 * @param bad  receives nullptr, or the first escape that is none
 */
size_t unescaped_length(const char *text, const char **bad);
/** Writes those bytes; the text must be free of bad escapes. */
void unescape(const char *text, char *out);

}  // namespace values
