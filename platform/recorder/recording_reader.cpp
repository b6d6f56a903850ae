// Reads the files of a recording, oldest first.
#include <errno.h>
#include <fcntl.h>

#include <memory>
#include <new>
#include <vector>

#include "file_series.h"
#include "recording_scan.h"

using namespace vela::recorder;

namespace {

/** A file of the recording; its descriptor stays open, so that turning over does not hide it. */
struct source_file {
    std::string name;
    base::opened_file opened;
    int fd() const { return opened.file.get(); }
    u_int64 size() const { return static_cast<u_int64>(opened.status.st_size); }
    bool is_same(const source_file &other) const {
        return opened.status.st_ino == other.opened.status.st_ino && opened.status.st_dev == other.opened.status.st_dev;
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
    // They are only read, and nothing in them is trusted: they may be anybody's.
    base::opened_file opened = base::open_regular(name.c_str(), O_RDONLY, base::allow_all);
    if (!opened) {
        why = open_failure(name, opened);
        return opened.code == ENOENT;
    }
    source_file next = {name, std::move(opened)};
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
            scan_ = std::make_unique<scanner>(files_.back().fd(), files_.back().size());
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
    return base::make_or_fail(err, error_text, room, "no memory for a recording", [path](failure &why) {
        auto recording = std::make_unique<vela_recording>();
        return recording->open(path, why) ? std::move(recording) : nullptr;
    });
}

u_int32 vela_recording_next(vela_recording *recording, vela_recording_item *item, u_int32 *err) {
    return base::call_or_fail(err, [&] { return recording->next(*item, *err); });
}

u_int64 vela_recording_size(const vela_recording *recording) { return recording->size(); }

u_int64 vela_recording_position(const vela_recording *recording) { return recording->position(); }

void vela_recording_close(vela_recording *recording) { delete recording; }
