// Two logs, numbered as one: what must not be lost, and reports.
#include "message_store.h"

#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <algorithm>

#include "base/big_endian.h"
#include "base/guarded_file.h"
#include "base/interruption.h"
#include "crc32.h"

namespace vela::nats {
namespace {

using base::load_big_endian;
using base::store_big_endian;

constexpr u_int64 segments_per_store = 32;
constexpr u_int64 least_segment = 256 * 1024;

// The state is written in two places by turns, so that one is whole whenever the process ends: magic 4, checksum of what
// follows 4, number of this state 8, how far kept messages and reports are done 8 each, identity 16.
constexpr u_int32 magic = 0x564E5354;
constexpr size_t state_size = 48;

// Without it two stores would number alike, and the stream would take one message for another.
bool make_identity(std::string &text, failure &why) {
    u_int8 bytes[8];
    if (getrandom(bytes, sizeof bytes, 0) != sizeof bytes) {
        why = base::system_failure(errno, "no random identity");
        return false;
    }
    text.clear();
    constexpr char digits[] = "0123456789abcdef";
    for (const u_int8 byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return true;
}

}  // namespace

message_store::message_store(const std::string &folder, u_int64 most_bytes)
    : folder_(folder),
      most_bytes_(most_bytes),
      kept_(folder, "kept", std::max(most_bytes / segments_per_store, least_segment)),
      reports_(folder, "reports", std::max(most_bytes / segments_per_store, least_segment)) {}

bool message_store::open(failure &why) {
    if (folder_.empty()) {
        return make_identity(identity_, why) && kept_.recover(0, why) && reports_.recover(0, why);
    }
    mkdir(folder_.c_str(), 0700);
    const std::string path = folder_ + "/state";
    base::opened_file opened = base::open_regular(path.c_str(), O_RDWR | O_CREAT, base::only_own, 0600);
    if (!opened) {
        why = {static_cast<u_int32>(opened.code), path + ": " + opened.reason()};
        return false;
    }
    state_ = std::move(opened.file);
    if (base::uninterrupted([this] { return flock(state_.get(), LOCK_EX | LOCK_NB); }) != 0) {
        why = {VELA_EADDRINUSE, folder_ + ": another channel stores its messages there: give each a folder of its own"};
        return false;
    }
    if (!read_state(why)) {
        return false;
    }
    next_ = std::max(kept_.newest(), reports_.newest()) + 1;
    found_ = unfinished();
    return true;
}

bool message_store::read_state(failure &why) {
    u_int64 kept = 0;
    u_int64 reports = 0;
    for (const off_t place : {0, static_cast<int>(state_size)}) {
        u_int8 state[state_size];
        const bool is_whole = pread(state_.get(), state, sizeof state, place) == sizeof state &&
                              load_big_endian<u_int32>(state) == magic &&
                              load_big_endian<u_int32>(state + 4) == recorder::crc32({state + 8, sizeof state - 8});
        if (is_whole && load_big_endian<u_int64>(state + 8) > state_number_) {
            state_number_ = load_big_endian<u_int64>(state + 8);
            kept = load_big_endian<u_int64>(state + 16);
            reports = load_big_endian<u_int64>(state + 24);
            identity_.assign(reinterpret_cast<const char *>(state) + 32, 16);
        }
    }
    if (!kept_.recover(kept, why) || !reports_.recover(reports, why)) {
        return false;
    }
    if (state_number_ == 0) {
        return make_identity(identity_, why) && note_progress(why);
    }
    return true;
}

bool message_store::note_progress(failure &why) {
    if (folder_.empty()) {
        return true;
    }
    u_int8 state[state_size] = {};
    store_big_endian(state, magic);
    store_big_endian(state + 8, ++state_number_);
    store_big_endian(state + 16, kept_.done_up_to());
    store_big_endian(state + 24, reports_.done_up_to());
    memcpy(state + 32, identity_.data(), std::min<size_t>(identity_.size(), 16));
    store_big_endian(state + 4, recorder::crc32({state + 8, sizeof state - 8}));
    const off_t place = state_number_ % 2 == 0 ? 0 : static_cast<off_t>(state_size);
    if (pwrite(state_.get(), state, sizeof state, place) != sizeof state) {
        why = base::system_failure(errno, folder_ + "/state");
        return false;
    }
    return true;
}

// What is on its way may arrive, so it stays.
bool message_store::drop_oldest_report() {
    const size_t at = reports_.first_waiting();
    if (at == reports_.entries().size()) {
        return false;
    }
    reports_.set(at, progress::done);
    return true;
}

bool message_store::make_room(u_int64 length, bool is_report, u_int32 &dropped) {
    // Of what is kept whatever comes, one log full is the bound; reports have what that leaves.
    if (!is_report && kept_.bytes() + length > most_bytes_) {
        return false;
    }
    while (kept_.bytes() + reports_.bytes() + length > most_bytes_) {
        if (!drop_oldest_report()) {
            return false;
        }
        ++dropped;
    }
    return true;
}

message_store::outcome message_store::add(stored_message message, u_int32 &dropped, failure &why) {
    const bool is_report = message.role == VELA_MESSAGE_REPORT;
    if (!make_room(segment_log::header_size + message.bytes.size(), is_report, dropped)) {
        return outcome::full;
    }
    message.sequence = next_;
    if (!(is_report ? reports_ : kept_).append(message, why)) {
        return outcome::failed;
    }
    ++next_;
    return outcome::taken;
}

bool message_store::take_next(stored_message &message, u_int32 &damaged) {
    for (;;) {
        const size_t kept = kept_.first_waiting();
        const size_t report = reports_.first_waiting();
        const bool has_kept = kept < kept_.entries().size();
        const bool has_report = report < reports_.entries().size();
        if (!has_kept && !has_report) {
            return false;
        }
        const bool is_kept =
            has_kept && (!has_report || kept_.entries()[kept].sequence < reports_.entries()[report].sequence);
        segment_log &log = is_kept ? kept_ : reports_;
        const size_t at = is_kept ? kept : report;
        if (log.read(at, message)) {
            log.set(at, progress::on_its_way);
            return true;
        }
        log.set(at, progress::done);
        ++damaged;
    }
}

bool message_store::finish(u_int64 sequence) {
    for (segment_log *log : {&kept_, &reports_}) {
        const size_t at = log->find(sequence);
        if (at < log->entries().size()) {
            const bool was_open = log->entries()[at].state != progress::done;
            log->set(at, progress::done);
            return was_open;
        }
    }
    return false;
}

void message_store::rewind() {
    kept_.rewind();
    reports_.rewind();
}

}  // namespace vela::nats
