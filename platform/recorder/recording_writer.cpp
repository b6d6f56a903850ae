// Adds records to a recording: opens and locks the newest file, mends its end, turns files over.
#include "recording_writer.h"

#include <errno.h>
#include <fcntl.h>
#include <stddef.h>
#include <string.h>
#include <sys/file.h>
#include <sys/uio.h>

#include <new>

#include "base/clocks.h"
#include "base/interruption.h"
#include "recording_scan.h"

using namespace vela::recorder;

bool vela_recorder::open(failure &why) { return check_older_files(path_, allowed_, why) && open_file(why); }

/** Opens FILE, or begins a new one in place of one that is damaged, and finds where the next record goes. */
bool vela_recorder::open_file(failure &why) {
    for (;;) {
        bool is_damaged = false;
        if (!open_locked(why) || !find_end(is_damaged, why)) {
            file_ = {};
            return false;
        }
        if (!is_damaged) {
            return true;
        }
        if (options_.files == 1) {  // a new file would replace what can still be read
            why.text += "; recording goes on behind it";
            return true;
        }
        if (const int code = begin_new_file(); code != 0) {
            why = system_failure(path_, "turn over, for it is damaged", code);
            return false;
        }
        why.text += "; it is turned over and a new file begun";
    }
}

int vela_recorder::begin_new_file() {
    const int code = turn_over(path_, options_.files);
    if (code == 0) {
        ++statistics_.rotations;
    }
    file_ = {};
    return code;
}

/** Opens FILE so that nobody else writes it. */
bool vela_recorder::open_locked(failure &why) {
    for (;;) {
        base::opened_file opened = base::open_regular(path_.c_str(), O_RDWR | O_CREAT | O_APPEND, allowed_,
                                                      static_cast<mode_t>(options_.mode));
        if (!opened) {
            why = open_failure(path_, opened);
            return false;
        }
        if (base::uninterrupted([&] { return flock(opened.file.get(), LOCK_EX | LOCK_NB); }) != 0) {
            const int code = errno;
            why = system_failure(path_, "lock", code);
            if (code == EWOULDBLOCK) {
                why.text = path_ + ": another recorder writes it";
            }
            return false;
        }
        // Between the two calls its owner may have turned it over, or added to it.
        struct stat named {};
        if (stat(path_.c_str(), &named) == 0 && named.st_ino == opened.status.st_ino &&
            named.st_dev == opened.status.st_dev) {
            file_ = std::move(opened.file);
            size_ = static_cast<u_int64>(named.st_size);
            return true;
        }
    }
}

/**
 * Finds where the next record goes, and cuts off what a killed writer left there: that is plain where all before it is
 * whole and no head stands in it. Anything else that is wrong stays, for it may be more than it seems, as a message may
 * hold heads of records itself.
 */
bool vela_recorder::find_end(bool &is_damaged, failure &why) {
    scanner scan(file_.get(), size_);
    place last, damage;
    for (place next = scan.next(); next.what != found::end; next = scan.next()) {
        last = next;
        if (last.offset == 0 && last.what == found::damaged) {
            why = {VELA_EINVAL, path_ + ": " + last.reason};
            return false;
        }
        damage = damage.what == found::end && last.what == found::damaged ? last : damage;
    }
    if (scan.error() != 0) {
        why = system_failure(path_, "read", scan.error());
        return false;
    }
    is_untidy_ = false;
    is_damaged = damage.what == found::damaged;
    if (is_damaged) {
        why.text = path_ + ": " + damage.reason + " at offset " + std::to_string(damage.offset);
    } else if (last.what == found::torn) {
        size_ = last.offset;
        is_untidy_ = true;
        statistics_.cut_bytes += last.extent;
        why.text = path_ + ": " + last.reason + " at offset " + std::to_string(last.offset) + "; its " +
                   std::to_string(last.extent) + " bytes are removed";
        take_back();
    }
    return true;
}

u_int32 vela_recorder::append(const record_head &head, octets bytes) {
    const u_int64 wanted = VELA_RECORD_HEAD + u_int64{head.length};
    if (head.length > VELA_RECORD_LONGEST || VELA_RECORDING_HEADER + wanted > options_.max_file_bytes) {
        return refuse(VELA_EMSGSIZE);
    }
    if (const u_int32 code = make_room(wanted); code != 0) {
        return refuse(code);
    }
    if (const u_int32 code = write(head, bytes); code != 0) {
        return refuse(code);
    }
    ++statistics_.records;
    statistics_.bytes += head.length;
    return 0;
}

/** Brings FILE into a state in which the record may be added. What fails is tried again with the next record. */
u_int32 vela_recorder::make_room(u_int64 wanted) {
    failure why;
    if (!file_ && !open_file(why)) {
        return why.code;
    }
    if (is_untidy_) {
        take_back();
        if (is_untidy_) {
            return static_cast<u_int32>(errno);
        }
    }
    if (size_ <= VELA_RECORDING_HEADER || size_ + wanted <= options_.max_file_bytes) {
        return 0;
    }
    if (const int code = begin_new_file(); code != 0) {
        return static_cast<u_int32>(code);
    }
    return open_file(why) ? 0 : why.code;
}

/** Writes the record, and before the first one the file's header. */
u_int32 vela_recorder::write(const record_head &head, octets bytes) {
    const head_bytes encoded = encode_head(head);
    const octets parts[] = {size_ == 0 ? octets(file_header) : octets(), encoded, bytes};
    size_t done = 0;
    const size_t total = parts[0].size() + parts[1].size() + parts[2].size();
    while (done < total) {
        iovec rest[3];
        size_t skip = done;
        for (size_t i = 0; i < 3; ++i) {
            const size_t skipped = skip < parts[i].size() ? skip : parts[i].size();
            rest[i] = {const_cast<u_int8 *>(parts[i].data() + skipped), parts[i].size() - skipped};
            skip -= skipped;
        }
        const ssize_t count = writev(file_.get(), rest, 3);
        if (count < 0 && errno != EINTR) {
            const int code = errno;
            is_untidy_ = done > 0;
            take_back();
            return static_cast<u_int32>(code);
        }
        done += count > 0 ? static_cast<size_t>(count) : 0;  // the next call says why it was not all
    }
    size_ += total;
    return 0;
}

/** Removes what stands behind the last whole record. */
void vela_recorder::take_back() {
    if (is_untidy_ && ftruncate(file_.get(), static_cast<off_t>(size_)) == 0) {
        is_untidy_ = false;
    }
}

u_int32 vela_recorder::refuse(u_int32 code) {
    ++statistics_.failed;
    statistics_.last_error = code;
    return code;
}

vela_recorder_statistics vela_recorder::statistics() const {
    vela_recorder_statistics result = statistics_;
    result.file_bytes = size_;
    return result;
}

// ---- the C face ----------------------------------------------------------------------------------------------------

namespace {

/** The options with defaults filled in; false when they are out of range. */
bool complete(const vela_recorder_options *given, vela_recorder_options &options, failure &why) {
    constexpr size_t least = offsetof(vela_recorder_options, allow_other_users);  // of the first release
    options = {};
    const size_t size = given != nullptr ? given->size : sizeof options;
    if (given != nullptr && size >= least && size <= sizeof options) {
        memcpy(&options, given, size);
    }
    options.max_file_bytes = options.max_file_bytes != 0 ? options.max_file_bytes : 16u << 20;
    options.files = options.files != 0 ? options.files : 8;
    options.mode = options.mode != 0 ? options.mode : 0600;
    if (size < least || size > sizeof options || options.max_file_bytes < VELA_RECORDER_LEAST_FILE ||
        options.files > VELA_RECORDER_MOST_FILES || options.mode > 0777) {
        why = {VELA_EINVAL, "recorder options: size, max_file_bytes, files or mode is out of range"};
        return false;
    }
    return true;
}

}  // namespace

vela_recorder *vela_recorder_open(const char *path, const vela_recorder_options *options, char *error_text, size_t room,
                                  u_int32 *err) {
    if (*err == 0 && error_text != nullptr && room > 0) {
        error_text[0] = '\0';  // a text that comes with a recorder is a warning
    }
    return base::make_or_fail(err, error_text, room, "no memory for a recorder",
                              [=](failure &why) -> std::unique_ptr<vela_recorder> {
                                  vela_recorder_options all{};
                                  if (!complete(options, all, why)) {
                                      return nullptr;
                                  }
                                  auto recorder = std::make_unique<vela_recorder>(path, all);
                                  return recorder->open(why) ? std::move(recorder) : nullptr;
                              });
}

u_int32 vela_recorder_append(vela_recorder *recorder, u_int64 time_ns, u_int32 source, const u_int8 *bytes,
                             u_int32 length, u_int32 *err) {
    if (*err != 0) {
        return 0;
    }
    if (bytes == nullptr && length > 0) {
        *err = recorder->refuse(VELA_EINVAL);
        return 0;
    }
    try {
        const octets content(bytes, length);
        *err = recorder->append(
            {length, time_ns != 0 ? time_ns : base::clock_ns(CLOCK_REALTIME), source, crc32(content)}, content);
    } catch (const std::bad_alloc &) {
        *err = recorder->refuse(VELA_ENOMEM);
    }
    return *err == 0 ? 1 : 0;
}

void vela_recorder_get_statistics(const vela_recorder *recorder, vela_recorder_statistics *statistics) {
    *statistics = recorder->statistics();
}

void vela_recorder_close(vela_recorder *recorder, vela_recorder_statistics *statistics) {
    if (recorder != nullptr && statistics != nullptr) {
        *statistics = recorder->statistics();
    }
    delete recorder;
}
