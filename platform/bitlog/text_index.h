// Message texts by number.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "text_section.h"

namespace bitlog {

struct text_entry {
    uint32_t number;
    const char *text;  // ended by a NUL
};

// The texts of one module. Built once, then only read.
struct text_index {
    text_block block;
    text_entry *entries;
    size_t count;
};

// Splits a block of lines "NUMBER<TAB>TEXT" and takes it over; lines of another form are passed over. Null, and the
// block freed, when there is no memory.
text_index *build_index(text_block block);

// Frees an index and its block; null is allowed.
void destroy_index(text_index *index);

// The text of a number, or null.
const char *find_text(const text_index &index, uint32_t number);

}  // namespace bitlog
