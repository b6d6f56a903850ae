// Walks over the records of a file, and over what is damaged or torn between them.
#include "recording_scan.h"

#include <string.h>

#include <algorithm>

namespace vela::recorder {

place scanner::take(found what, u_int64 end, const char *reason) {
    place result;
    if (error() != 0) {  // what was not read proves nothing
        position_ = window_.size();
        return result;
    }
    result.what = what;
    result.offset = position_;
    result.extent = end - position_;
    result.reason = reason;
    position_ = end;
    return result;
}

place scanner::header() {
    const octets bytes = window_.at(0, VELA_RECORDING_HEADER);
    if (bytes.empty()) {
        return take(found::end, window_.size(), nullptr);
    }
    if (!std::equal(bytes.begin(), bytes.end(), file_header.begin())) {
        return take(found::damaged, window_.size(), "this is no recording, or one of another version");
    }
    if (bytes.size() < file_header.size()) {
        return take(found::torn, window_.size(), "the file's header is cut off");
    }
    position_ = file_header.size();
    return next();
}

place scanner::next() {
    if (position_ == 0) {
        return header();
    }
    const u_int64 left = window_.size() - position_;
    if (left == 0) {
        return {};
    }
    const octets start = window_.at(position_, VELA_RECORD_HEAD);
    if (start.size() < VELA_RECORD_HEAD) {
        return may_begin_head(start) ? take(found::torn, window_.size(), "the record's head is cut off")
                                     : take(found::damaged, window_.size(), "no record begins here");
    }
    record_head head{};
    if (!decode_head(start, head)) {
        return take(found::damaged, find_head(position_ + 1), "no record begins here");
    }
    const u_int64 end = position_ + VELA_RECORD_HEAD + head.length;
    if (end > window_.size()) {
        // Without another record behind it this is where a writer was stopped; with one, the length is a lie.
        const u_int64 other = find_head(position_ + 1);
        return other == window_.size() ? take(found::torn, other, "the record is cut off")
                                       : take(found::damaged, other, "the record's length leads behind the file");
    }
    if (!has_checksum(position_ + VELA_RECORD_HEAD, end, head.bytes_crc)) {
        return take(found::damaged, find_head(position_ + 1), "the record's bytes do not match their checksum");
    }
    const octets bytes = window_.at(position_ + VELA_RECORD_HEAD, head.length);
    if (bytes.size() < head.length) {
        return take(found::torn, window_.size(), "the record is cut off");
    }
    place result = take(found::record, end, nullptr);
    result.head = head;
    result.bytes = bytes;
    return result;
}

/** Heads that were made up may all claim the same bytes: from the first damage on, none is summed up twice. */
bool scanner::has_checksum(u_int64 begin, u_int64 end, u_int32 checksum) {
    if (!sums_) {
        const octets bytes = window_.at(begin, static_cast<size_t>(end - begin));
        if (bytes.size() == end - begin && crc32(bytes) == checksum) {
            return true;
        }
        sums_.emplace(file_, begin);
        return false;
    }
    return sums_->match(begin, end, checksum);
}

u_int64 scanner::find_head(u_int64 from) {
    constexpr u_int8 first = VELA_RECORD_MARK >> 24;
    while (from + VELA_RECORD_HEAD <= window_.size()) {
        const auto count = static_cast<size_t>(std::min<u_int64>(window_.size() - from, 4096));
        const octets bytes = window_.at(from, count);
        if (bytes.size() < VELA_RECORD_HEAD) {
            break;
        }
        const size_t starts = bytes.size() - VELA_RECORD_HEAD + 1;
        const void *mark = memchr(bytes.data(), first, starts);
        if (mark == nullptr) {
            from += starts;
            continue;
        }
        const auto at = static_cast<size_t>(static_cast<const u_int8 *>(mark) - bytes.data());
        record_head head{};
        if (decode_head(bytes.subspan(at, VELA_RECORD_HEAD), head)) {
            return from + at;
        }
        from += at + 1;
    }
    return window_.size();
}

}  // namespace vela::recorder
