// Reads the files of a recording, oldest first.
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>

#include <memory>
#include <new>
#include <vector>

#include "file_descriptor.h"
#include "file_series.h"
#include "guarded_file.h"
#include "recording_scan.h"

using namespace vela::recorder;
using vela::transport::file_descriptor;

namespace {

/** A file of the recording; its descriptor stays open, so that turning over does not hide it. */
struct source_file {
    std::string name;
    file_descriptor file;
    struct stat status;
    u_int64 size() const { return static_cast<u_int64>(status.st_size); }
    bool is_same(const source_file &other) const {
        return status.st_ino == other.status.st_ino && status.st_dev == other.status.st_dev;
    }
};

}  // namespace

struct vela_recording {
  public:
    bool open(const std::string &path, failure &why);
    bool next(vela_recording_item &item, u_int32 &err);
    u_int64 size() const;
    u_int64 position() const { return passed_ + (scan_ != nullptr ? scan_->position() : 0); }

  private:
    bool open_file(const std::string &name, failure &why);
    void finish_file();

    std::vector<source_file> files_;  // not passed yet, the oldest last
    std::string current_;             // name of the file that is read
    std::unique_ptr<scanner> scan_;
    u_int64 passed_ = 0;
};

bool vela_recording::open(const std::string &path, failure &why) {
    // The newest first: a file that is turned over meanwhile is met twice, and none is missed.
    for (u_int32 number = 0; number < VELA_RECORDER_MOST_FILES; ++number) {
        if (!open_file(file_name(path, number), why)) {
            return false;
        }
    }
    if (files_.empty()) {
        why = system_failure(path, "open", ENOENT);
        return false;
    }
    return true;
}

bool vela_recording::open_file(const std::string &name, failure &why) {
    const char *refusal = nullptr;
    // They are only read, and nothing in them is trusted: they may be anybody's.
    source_file next = {
        name,
        file_descriptor(guarded_file::open_regular(name.c_str(), O_RDONLY, 0, guarded_file::allow_all, refusal)),
        {}};
    if (!next.file && errno == ENOENT) {
        return true;
    }
    if (!next.file || fstat(next.file.get(), &next.status) != 0) {
        why = system_failure(name, "open", errno);
        why.text = refusal != nullptr ? name + ": cannot open: " + refusal : why.text;
        return false;
    }
    for (const source_file &other : files_) {
        if (next.is_same(other)) {
            return true;
        }
    }
    files_.push_back(std::move(next));
    return true;
}

u_int64 vela_recording::size() const {
    u_int64 sum = passed_;
    for (const source_file &file : files_) {
        sum += file.size();
    }
    return sum;
}

void vela_recording::finish_file() {
    passed_ += files_.back().size();
    scan_.reset();
    files_.pop_back();
}

bool vela_recording::next(vela_recording_item &item, u_int32 &err) {
    while (!files_.empty()) {
        if (scan_ == nullptr) {
            current_ = files_.back().name;
            scan_ = std::make_unique<scanner>(files_.back().file.get(), files_.back().size());
        }
        const place here = scan_->next();
        if (here.what == found::end) {
            err = static_cast<u_int32>(scan_->error());
            finish_file();
            if (err != 0) {
                return false;
            }
            continue;
        }
        item = {};
        item.kind = here.what == found::record ? VELA_RECORDING_RECORD
                    : here.what == found::torn ? VELA_RECORDING_TORN
                                               : VELA_RECORDING_DAMAGED;
        item.source = here.head.source;
        item.time_ns = here.head.time_ns;
        item.bytes = here.what == found::record ? here.bytes.data() : nullptr;
        item.length = here.head.length;
        item.file = current_.c_str();
        item.offset = here.offset;
        item.extent = here.extent;
        item.reason = here.reason;
        return true;
    }
    return false;
}

vela_recording *vela_recording_open(const char *path, char *error_text, size_t room, u_int32 *err) {
    if (*err != 0) {
        return nullptr;
    }
    failure why;
    std::unique_ptr<vela_recording> recording;
    try {
        recording = std::make_unique<vela_recording>();
        if (!recording->open(path, why)) {
            recording.reset();
        }
    } catch (const std::bad_alloc &) {
        recording.reset();
        why = {VELA_ENOMEM, {}};
    }
    *err = why.code;
    if (recording == nullptr && error_text != nullptr && room > 0) {
        snprintf(error_text, room, "%s", why.code == VELA_ENOMEM ? "no memory for a recording" : why.text.c_str());
    }
    return recording.release();
}

u_int32 vela_recording_next(vela_recording *recording, vela_recording_item *item, u_int32 *err) {
    if (*err != 0) {
        return 0;
    }
    try {
        return recording->next(*item, *err) ? 1 : 0;
    } catch (const std::bad_alloc &) {
        *err = VELA_ENOMEM;
        return 0;
    }
}

u_int64 vela_recording_size(const vela_recording *recording) { return recording->size(); }

u_int64 vela_recording_position(const vela_recording *recording) { return recording->position(); }

void vela_recording_close(vela_recording *recording) { delete recording; }
