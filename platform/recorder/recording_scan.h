// A walk over one file of a recording, whose bytes may be anything. Where a record is damaged or reaches behind the file,
// the walk goes on at the next head inside of it: the length may be a lie, or the writer stopped and another went on.
// So what is found does not depend on what was added behind it later.
#pragma once

#include <optional>

#include "file_window.h"

namespace vela::recorder {

enum class found { end, record, torn, damaged };

/** A place in the file, as vela_recording_item tells of it. */
struct place {
    found what = found::end;
    u_int64 offset = 0;
    u_int64 extent = 0;
    record_head head{};
    octets bytes;  // valid until the next step
    const char *reason = nullptr;
};

class scanner {
  public:
    scanner(int file, u_int64 size) : window_(file, size), file_(file) {}

    /** The next place. At an error of reading it is the end, and error() says so. */
    place next();

    u_int64 position() const { return position_; }
    u_int64 size() const { return window_.size(); }
    int error() const { return window_.error() != 0 || !sums_ ? window_.error() : sums_->error(); }

  private:
    place header();
    place take(found what, u_int64 end, const char *reason);
    /** The next offset from `from` on at which a record's head stands; the file's size when there is none. */
    u_int64 find_head(u_int64 from);
    bool has_checksum(u_int64 begin, u_int64 end, u_int32 checksum);

    file_window window_;
    int file_;
    u_int64 position_ = 0;
    std::optional<file_sums> sums_;  // once a record was damaged
};

}  // namespace vela::recorder
