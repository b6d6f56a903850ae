// Records in the order in which they came, in files of bounded length that go once all of theirs are done.
#pragma once

#include <deque>
#include <map>
#include <string>
#include <vector>

#include "base/failure.h"
#include "base/file_descriptor.h"
#include "vela_transport.h"

namespace vela::nats {

using base::failure;
using base::file_descriptor;

struct stored_message {
    u_int64 sequence = 0;
    u_int64 time_ns = 0;  // since 1970, when it was taken
    vela_message_role role = VELA_MESSAGE_UNKNOWN;
    std::vector<u_int8> bytes;
};

enum class progress : u_int8 { waiting, on_its_way, done };

class segment_log {
  public:
    // Each record costs so much beside its bytes.
    static constexpr u_int32 header_size = 32;

    // Files are FOLDER/NAME-NUMBER, or, with an empty folder, nameless ones that end with the process.
    segment_log(std::string folder, std::string name, u_int64 segment_size)
        : folder_(std::move(folder)), name_(std::move(name)), segment_size_(segment_size) {}

    // Finds what an earlier process left behind and is newer than `done_up_to`. False with the reason.
    bool recover(u_int64 done_up_to, failure &why);

    // False with the reason, and nothing has changed: no room on the disk, most likely.
    bool append(const stored_message &message, failure &why);
    bool read(size_t at, stored_message &message) const;

    struct entry {
        u_int64 sequence;
        u_int64 segment;
        u_int64 offset;
        u_int32 length;  // of the bytes alone
        progress state;
    };

    const std::deque<entry> &entries() const { return entries_; }
    // Position of a sequence number; the number of entries when it is not here.
    size_t find(u_int64 sequence) const;
    void set(size_t at, progress state);
    // Everything that is on its way has to go again.
    void rewind();
    // Position of the first that waits, or the number of entries.
    size_t first_waiting();

    u_int32 unfinished() const { return unfinished_; }
    u_int64 bytes() const { return bytes_; }  // of those that are not done
    u_int64 done_up_to() const { return done_up_to_; }
    u_int64 newest() const { return newest_; }

  private:
    struct segment {
        file_descriptor file;
        std::string path;  // empty: it has no name
        u_int64 size = 0;
        u_int32 unfinished = 0;
    };

    bool open_segment(u_int64 number, failure &why);
    bool scan(u_int64 number, segment &of, failure &why);
    void forget_finished();

    std::string folder_;
    std::string name_;
    u_int64 segment_size_;
    std::map<u_int64, segment> segments_;
    std::deque<entry> entries_;  // by rising sequence
    size_t cursor_ = 0;          // nothing before it waits
    u_int64 bytes_ = 0;
    u_int32 unfinished_ = 0;
    u_int64 done_up_to_ = 0;
    u_int64 newest_ = 0;
};

}  // namespace vela::nats
