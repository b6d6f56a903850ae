// Reads until there is enough, or no more.
#include "base/file_reading.h"

#include <errno.h>
#include <unistd.h>

namespace base {

size_t read_at(int file, void *bytes, size_t count, uint64_t offset, int &error) {
    size_t done = 0;
    while (done < count) {
        const ssize_t got =
            pread(file, static_cast<char *>(bytes) + done, count - done, static_cast<off_t>(offset + done));
        if (got == 0 || (got < 0 && errno != EINTR)) {
            error = got < 0 ? errno : error;
            break;
        }
        done += got > 0 ? static_cast<size_t>(got) : 0;
    }
    return done;
}

}  // namespace base
