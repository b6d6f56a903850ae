// The bytes of a ring that may change while they are read.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "base/file_descriptor.h"

namespace bitlog {

/**
 * A file, or this process's own ring. Files are read, not mapped: one that somebody makes shorter must not end the
 * program that looks at it.
 */
class ring_source {
  public:
    /** Returns 0 or an error of errno, and then a reason without the path. */
    uint32_t open(const char *path, const char *&reason);
    void close();

    uint64_t size() const { return size_; }
    /** Offsets and lengths are multiples of 8. False when there are not so many bytes. */
    bool read(uint64_t offset, void *bytes, size_t length) const;

  private:
    uint32_t open_file(const char *path, const char *&reason);

    base::file_descriptor file_;
    const uint8_t *memory_ = nullptr;
    uint64_t size_ = 0;
};

}  // namespace bitlog
