// Reads captures: their lengths are not believed before they are checked.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/interruption.h"
#include "failure.h"
#include "files.h"
#include "pcapng.h"
#include "pcapng_layout.h"

namespace ptpcfg {
namespace {

constexpr u_int64 second = 1'000'000'000;

u_int64 nanoseconds(u_int64 ticks, u_int64 ticks_per_second) {
    const u_int64 rest = ticks % ticks_per_second;
    return ticks / ticks_per_second * second +
           static_cast<u_int64>(static_cast<unsigned __int128>(rest) * second / ticks_per_second);
}

/** An interface's resolution: a power of ten or, with the top bit, of two; as ticks in a second. */
u_int64 ticks_of(u_int8 resolution) {
    const u_int32 exponent = resolution & 0x7Fu;
    if ((resolution & 0x80u) != 0) {
        return u_int64{1} << std::min(exponent, 63u);
    }
    u_int64 ticks = 1;
    for (u_int32 step = 0; step < std::min(exponent, 19u); ++step) {
        ticks *= 10;
    }
    return ticks;
}

}  // namespace

capture_reader::capture_reader(const std::string &path)
    : path_(path), file_(base::uninterrupted([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC); })) {
    struct stat status {};
    if (!file_ || ::fstat(file_.get(), &status) != 0) {
        fail_io(path, "open");
    }
    if (!S_ISREG(status.st_mode)) {
        throw failure(exit_code::io, path + ": a capture is read from a regular file");
    }
    size_ = static_cast<u_int64>(status.st_size);
    std::string begin;
    if (!read(0, pcapng::frame, begin) || !begins_capture(begin)) {
        throw failure(exit_code::bad_input, path + (size_ == 0 ? ": is empty" : ": is no pcapng file"));
    }
}

capture_reader::~capture_reader() = default;

/** False where the file does not have so many bytes. */
bool capture_reader::read(u_int64 offset, size_t length, std::string &bytes) const {
    if (offset > size_ || size_ - offset < length) {
        return false;
    }
    bytes.resize(length);
    size_t done = 0;
    while (done < length) {
        const ssize_t got = ::pread(file_.get(), bytes.data() + done, length - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno != EINTR) {
            fail_io(path_, "read");
        }
        if (got == 0) {
            return false;
        }
        done += got > 0 ? static_cast<size_t>(got) : 0;
    }
    return true;
}

/** 0 where there are not so many bytes. */
u_int32 capture_reader::number(std::string_view bytes, size_t at, size_t width) const {
    u_int32 result = 0;
    for (size_t index = 0; at + width <= bytes.size() && index < width; ++index) {
        const size_t place = is_big_endian_ ? index : width - 1 - index;
        result = result << 8 | static_cast<u_int8>(bytes[at + place]);
    }
    return result;
}

/** Takes the byte order of a section; false when it has none. */
bool capture_reader::begin_section(std::string_view head) {
    for (const bool is_big : {false, true}) {
        is_big_endian_ = is_big;
        if (number(head, 8, 4) == pcapng::byte_order) {
            interfaces_.clear();
            return true;
        }
    }
    return false;
}

void capture_reader::add_interface(std::string_view body) {
    interface added = {number(body, 0, 2), 1'000'000};
    for (size_t at = 8; at + 4 <= body.size();) {
        const u_int32 code = number(body, at, 2);
        const u_int32 length = number(body, at + 2, 2);
        if (code == pcapng::end) {
            break;
        }
        if (code == pcapng::interface_resolution && length == 1 && at + 4 < body.size()) {
            added.ticks_per_second = ticks_of(static_cast<u_int8>(body[at + 4]));
        }
        at += 4 + pcapng::padded(length);
    }
    interfaces_.push_back(added);
}

/** Whether a block holds a packet of messages, or is wrong; all others are passed over. */
bool capture_reader::take_packet(u_int32 type, std::string_view body, vela_recording_item &item) {
    const bool is_simple = type == pcapng::simple_packet;
    const size_t head = is_simple ? 4 : 20;
    const u_int32 of = is_simple ? 0 : number(body, 0, 4);
    const u_int32 length =
        is_simple ? std::min<u_int32>(number(body, 0, 4), static_cast<u_int32>(body.size()) - 4) : number(body, 12, 4);
    if (body.size() < head || length > body.size() - head || of >= interfaces_.size()) {
        return fail(item, VELA_RECORDING_DAMAGED, "a packet's length or interface is wrong", item.extent);
    }
    if (interfaces_[of].link_type != pcapng::user0) {
        return fail(item, VELA_RECORDING_DAMAGED, "a packet is of another link type than 147 (DLT_USER0)", item.extent);
    }
    const u_int64 ticks = is_simple ? 0 : u_int64{number(body, 4, 4)} << 32 | number(body, 8, 4);
    item.kind = VELA_RECORDING_RECORD;
    item.source = ~VELA_RECORD_DAMAGED;  // no channel
    item.time_ns = nanoseconds(ticks, interfaces_[of].ticks_per_second);
    item.bytes = reinterpret_cast<const u_int8 *>(body.data() + head);
    item.length = length;
    return true;
}

bool capture_reader::fail(vela_recording_item &item, vela_recording_kind kind, const char *reason, u_int64 extent) {
    item.kind = kind;
    item.reason = reason;
    item.extent = extent;
    item.bytes = nullptr;
    item.length = 0;
    return true;
}

bool capture_reader::next(vela_recording_item &item) {
    while (position_ < size_) {
        item = {};
        item.file = path_.c_str();
        item.offset = position_;
        const u_int64 left = size_ - position_;
        std::string head;
        const bool has_head = read(position_, pcapng::frame, head);
        const bool is_section = has_head && number(head, 0, 4) == pcapng::section;
        const bool is_right = !is_section || begin_section(head);
        const u_int32 length = number(head, 4, 4);
        if (!is_right || (has_head && (length < pcapng::frame || length % 4 != 0 || length > pcapng::longest_block))) {
            position_ = size_;
            return fail(item, VELA_RECORDING_DAMAGED, "no block of a capture begins here", left);
        }
        if (!has_head || !read(position_, length, block_)) {
            position_ = size_;
            return fail(item, VELA_RECORDING_TORN, "the capture ends within a block", left);
        }
        item.extent = length;
        position_ += length;
        const std::string_view body = std::string_view(block_).substr(pcapng::head, length - pcapng::frame);
        const u_int32 type = number(block_, 0, 4);
        if (type == pcapng::interface_description) {
            add_interface(body);
        } else if ((type == pcapng::enhanced_packet || type == pcapng::simple_packet) &&
                   take_packet(type, body, item)) {
            return true;
        }
    }
    return false;
}

}  // namespace ptpcfg
