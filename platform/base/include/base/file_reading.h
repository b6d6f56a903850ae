// Reading a part of a file in spite of signals and short reads.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace base {

/**
 * Reads `count` bytes at an offset, or as many as there are.
 * @param error  receives the errno of a read that failed, and stays as it is otherwise
 * @return the bytes read
 */
size_t read_at(int file, void *bytes, size_t count, uint64_t offset, int &error);

/** The same for who needs all of them: false when there are fewer. */
inline bool read_all_at(int file, void *bytes, size_t count, uint64_t offset, int &error) {
    return read_at(file, bytes, count, offset, error) == count;
}

}  // namespace base
