// Reading the message texts of a module out of the file that the module was loaded from.
#pragma once

#include <stddef.h>

#include "base/guarded_file.h"

namespace bitlog {

// A block of memory from malloc, ended by a NUL that `size` does not count. `data` is null when there is none.
struct text_block {
    char *data = nullptr;
    size_t size = 0;
};

// Finds the file that holds `address` (an object of the module), and in it the section, and decompresses that. The
// caller frees the block. An empty block: no such file or section, a damaged one, or no memory.
text_block read_module_texts(const void *address, const char *section);

// The same from a file that is known.
text_block read_file_texts(const char *path, const char *section);

// Opens a file that may be a module: a path may come from elsewhere, so nothing but a regular file is opened.
base::opened_file open_module_file(const char *path);

}  // namespace bitlog
