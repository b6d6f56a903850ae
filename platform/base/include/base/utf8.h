// UTF-8, of which only the well-formed is taken: no longer forms than need be, no surrogates, nothing above U+10FFFF.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace base {

/** Bytes of the character that a text begins with; 0 when it begins with none. */
size_t utf8_length(const char *text, size_t left);

/** The character of that many bytes, which utf8_length() has found. */
uint32_t decode_utf8(const char *text, size_t length);

}  // namespace base
