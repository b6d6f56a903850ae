// Writes and reads the records of a log. A file is: per record a header of 32 bytes, then the message's.
#include "segment_log.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <set>

#include "base/big_endian.h"
#include "base/guarded_file.h"
#include "crc32.h"

namespace vela::nats {
namespace {

using base::load_big_endian;
using base::store_big_endian;

constexpr u_int32 magic = 0x564E5352;
constexpr u_int32 longest = 64u * 1024 * 1024;

// magic 4, length 4, sequence 8, time 8, role 4, checksum of all else 4
constexpr size_t checksum_offset = 28;

void write_header(u_int8 *at, const stored_message &message) {
    store_big_endian(at, magic);
    store_big_endian(at + 4, static_cast<u_int32>(message.bytes.size()));
    store_big_endian(at + 8, message.sequence);
    store_big_endian(at + 16, message.time_ns);
    store_big_endian(at + 24, static_cast<u_int32>(message.role));
}

u_int32 checksum_of(const std::vector<u_int8> &record) {
    const std::span<const u_int8> all(record);
    return recorder::crc32(all.first(checksum_offset)) ^ recorder::crc32(all.subspan(segment_log::header_size));
}

bool read_fully(int file, u_int8 *at, size_t count, u_int64 offset) {
    return pread(file, at, count, static_cast<off_t>(offset)) == static_cast<ssize_t>(count);
}

// A whole record; empty where there is none.
std::vector<u_int8> read_record(int file, u_int64 offset) {
    std::vector<u_int8> record(segment_log::header_size);
    if (!read_fully(file, record.data(), record.size(), offset) || load_big_endian<u_int32>(record.data()) != magic) {
        return {};
    }
    const u_int32 length = load_big_endian<u_int32>(record.data() + 4);
    if (length > longest) {
        return {};
    }
    record.resize(segment_log::header_size + length);
    const bool is_whole =
        read_fully(file, record.data() + segment_log::header_size, length, offset + segment_log::header_size) &&
        load_big_endian<u_int32>(record.data() + checksum_offset) == checksum_of(record);
    return is_whole ? record : std::vector<u_int8>();
}

// A file without a name, on the disk all the same.
int open_nameless() {
    const char *folder = getenv("TMPDIR");
    std::string path = std::string(folder != nullptr && folder[0] == '/' ? folder : "/tmp") + "/vela-nats-XXXXXX";
    const int file = mkostemp(path.data(), O_CLOEXEC);
    if (file >= 0) {
        unlink(path.c_str());
    }
    return file;
}

// Numbers of the files NAME-NUMBER of a folder.
std::set<u_int64> numbers_in(const std::string &folder, const std::string &name) {
    std::set<u_int64> found;
    const std::unique_ptr<DIR, int (*)(DIR *)> open(opendir(folder.c_str()), closedir);
    for (const dirent *each = open ? readdir(open.get()) : nullptr; each != nullptr; each = readdir(open.get())) {
        const std::string_view file = each->d_name;
        if (!file.starts_with(name + "-")) {
            continue;
        }
        const std::string_view digits = file.substr(name.size() + 1);
        u_int64 number = 0;
        const auto [end, problem] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
        if (problem == std::errc() && end == digits.data() + digits.size()) {
            found.insert(number);
        }
    }
    return found;
}

}  // namespace

bool segment_log::open_segment(u_int64 number, failure &why) {
    segment next;
    next.path = folder_.empty() ? "" : folder_ + "/" + name_ + "-" + std::to_string(number);
    base::opened_file opened = {};
    if (next.path.empty()) {
        opened.file = file_descriptor(open_nameless());
        opened.code = opened ? 0 : errno;
    } else {
        opened = base::open_regular(next.path.c_str(), O_RDWR | O_CREAT, base::only_own, 0600);
    }
    if (!opened) {
        why = {static_cast<u_int32>(opened.code),
               (next.path.empty() ? "no file in TMPDIR" : next.path) + ": " + opened.reason()};
        return false;
    }
    next.file = std::move(opened.file);
    segments_[number] = std::move(next);
    return true;
}

// What stands behind a record that was cut is no record: the process ended while it was written.
bool segment_log::scan(u_int64 number, segment &of, failure &why) {
    for (;;) {
        const std::vector<u_int8> record = read_record(of.file.get(), of.size);
        if (record.empty()) {
            break;
        }
        const u_int64 sequence = load_big_endian<u_int64>(record.data() + 8);
        const auto length = static_cast<u_int32>(record.size() - header_size);
        newest_ = std::max(newest_, sequence);
        if (sequence > done_up_to_) {
            entries_.push_back({sequence, number, of.size, length, progress::waiting});
            ++of.unfinished;
            ++unfinished_;
            bytes_ += record.size();
        }
        of.size += record.size();
    }
    if (ftruncate(of.file.get(), static_cast<off_t>(of.size)) != 0) {
        why = base::system_failure(errno, of.path);
        return false;
    }
    return true;
}

bool segment_log::recover(u_int64 done_up_to, failure &why) {
    newest_ = done_up_to_ = done_up_to;
    if (folder_.empty()) {
        return true;
    }
    for (const u_int64 number : numbers_in(folder_, name_)) {
        if (!open_segment(number, why) || !scan(number, segments_[number], why)) {
            return false;
        }
    }
    forget_finished();
    return true;
}

bool segment_log::append(const stored_message &message, failure &why) {
    if (segments_.empty() || segments_.rbegin()->second.size >= segment_size_) {
        if (!open_segment(segments_.empty() ? message.sequence : segments_.rbegin()->first + 1, why)) {
            return false;
        }
    }
    auto &[number, last] = *segments_.rbegin();
    std::vector<u_int8> record(header_size + message.bytes.size());
    write_header(record.data(), message);
    std::copy(message.bytes.begin(), message.bytes.end(), record.begin() + header_size);
    store_big_endian(record.data() + checksum_offset, checksum_of(record));
    entries_.push_back(
        {message.sequence, number, last.size, static_cast<u_int32>(message.bytes.size()), progress::waiting});
    const ssize_t count = pwrite(last.file.get(), record.data(), record.size(), static_cast<off_t>(last.size));
    if (count != static_cast<ssize_t>(record.size())) {
        why = base::system_failure(count < 0 ? errno : ENOSPC, last.path.empty() ? "a file in TMPDIR" : last.path);
        entries_.pop_back();
        return false;
    }
    last.size += record.size();
    ++last.unfinished;
    ++unfinished_;
    bytes_ += record.size();
    newest_ = message.sequence;
    return true;
}

bool segment_log::read(size_t at, stored_message &message) const {
    const entry &row = entries_[at];
    const std::vector<u_int8> record = read_record(segments_.at(row.segment).file.get(), row.offset);
    if (record.empty()) {
        return false;
    }
    message.sequence = row.sequence;
    message.time_ns = load_big_endian<u_int64>(record.data() + 16);
    message.role = static_cast<vela_message_role>(load_big_endian<u_int32>(record.data() + 24));
    message.bytes.assign(record.begin() + header_size, record.end());
    return true;
}

size_t segment_log::find(u_int64 sequence) const {
    const auto at = std::lower_bound(entries_.begin(), entries_.end(), sequence,
                                     [](const entry &row, u_int64 wanted) { return row.sequence < wanted; });
    const bool is_here = at != entries_.end() && at->sequence == sequence;
    return is_here ? static_cast<size_t>(at - entries_.begin()) : entries_.size();
}

void segment_log::set(size_t at, progress state) {
    entry &row = entries_[at];
    if (state == progress::done && row.state != progress::done) {
        --segments_.at(row.segment).unfinished;
        --unfinished_;
        bytes_ -= header_size + row.length;
    }
    row.state = state;
    forget_finished();
}

void segment_log::rewind() {
    cursor_ = 0;
    for (entry &row : entries_) {
        row.state = row.state == progress::on_its_way ? progress::waiting : row.state;
    }
}

size_t segment_log::first_waiting() {
    while (cursor_ < entries_.size() && entries_[cursor_].state != progress::waiting) {
        ++cursor_;
    }
    return cursor_;
}

void segment_log::forget_finished() {
    while (!entries_.empty() && entries_.front().state == progress::done) {
        done_up_to_ = entries_.front().sequence;
        entries_.pop_front();
        cursor_ -= cursor_ > 0 ? 1 : 0;
    }
    while (segments_.size() > 1 && segments_.begin()->second.unfinished == 0) {
        if (!segments_.begin()->second.path.empty()) {
            unlink(segments_.begin()->second.path.c_str());
        }
        segments_.erase(segments_.begin());
    }
}

}  // namespace vela::nats
