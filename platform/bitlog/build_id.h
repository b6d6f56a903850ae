// Which file a piece of the process was loaded from, and which build of it: the linker's build identity.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "ring_layout.h"

namespace bitlog {

/** Empty (size 0) where the linker gave none. */
struct build_id {
    uint8_t bytes[build_id_room];
    uint32_t size;
};

/**
 * The file that holds an object of the process, and its build as it was loaded.
 * @param path  receives an absolute path, or nothing when it cannot be told or is longer than the room
 */
void find_loaded_file(const void *address, char *path, size_t room, build_id &build);

/** The build of a file, from its notes; empty when there is none or the file cannot be read. */
build_id build_id_of_file(const char *path);

}  // namespace bitlog
