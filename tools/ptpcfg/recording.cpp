// Reads recordings, and warns of what is damaged in them.
#include "recording.h"

#include <filesystem>
#include <fstream>
#include <utility>

#include "channel.h"
#include "failure.h"
#include "records.h"
#include "refused_file.h"
#include "time_bound.h"

namespace ptpcfg {
namespace {

std::string place_of(const vela_recording_item &item) {
    return std::string(item.file) + ": offset " + std::to_string(item.offset);
}

/** By its content; what cannot be read is said by who opens it. */
bool is_capture(const std::string &path) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored)) {
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    char begin[12] = {};
    file.read(begin, sizeof begin);
    return begins_capture({begin, sizeof begin}) || (is_capture_name(path) && file.is_open());
}

}  // namespace

recording::recording(const std::string &path, std::function<void()> before_text)
    : path_(path), before_text_(std::move(before_text)) {
    if (path == "-") {
        throw failure(exit_code::usage, "a recording is read from its files, not from standard input");
    }
    if (is_capture(path)) {
        capture_ = std::make_unique<capture_reader>(path);
        return;
    }
    char text[512] = "";
    u_int32 err = 0;
    recording_.reset(vela_recording_open(path.c_str(), text, sizeof text, &err));
    if (recording_ == nullptr) {
        throw failure(err == VELA_EINVAL ? code_of_refused(path) : exit_code::io, text);
    }
}

const vela_recording_item *recording::next() {
    u_int32 err = 0;
    while (capture_ != nullptr ? capture_->next(item_) : vela_recording_next(recording_.get(), &item_, &err) != 0) {
        switch (item_.kind) {
            case VELA_RECORDING_RECORD:
                return &item_;
            case VELA_RECORDING_TORN:
                say("warning: " + place_of(item_) + ": " + item_.reason + "; it is skipped");
                break;
            case VELA_RECORDING_DAMAGED:
                complain(item_.reason + std::string("; ") + std::to_string(item_.extent) + " bytes are skipped");
                break;
        }
    }
    if (err != 0) {
        throw failure(exit_code::io, path_ + ": cannot read: " + system_error_text(err));
    }
    return nullptr;
}

void recording::complain(const std::string &reason) {
    ++faults_;
    say(place_of(item_) + ": " + reason);
}

void recording::say(const std::string &text) const {
    if (before_text_) {
        before_text_();
    }
    std::fprintf(stderr, "ptpcfg: %s\n", text.c_str());
}

void recording::finish() const {
    if (faults_ > 0) {
        throw failure(exit_code::bad_input,
                      path_ + ": " + std::to_string(faults_) + (faults_ == 1 ? " fault" : " faults") + ", see above");
    }
}

double recording::fraction() const {
    const u_int64 size = capture_ != nullptr ? capture_->size() : vela_recording_size(recording_.get());
    const u_int64 position = capture_ != nullptr ? capture_->position() : vela_recording_position(recording_.get());
    return size == 0 ? 1 : static_cast<double>(position) / static_cast<double>(size);
}

void each_recorded(recording &input, const ptp_cfg_type *type, const session &session,
                   const std::function<void(const record &, std::string_view heading)> &take) {
    const std::vector<std::string> names = channel_names();
    while (const vela_recording_item *item = input.next()) {
        const u_int32 source = item->source & ~VELA_RECORD_DAMAGED;
        std::vector<record> messages;
        try {
            if (source != item->source) {
                throw failure(exit_code::bad_input, "is marked as no message by who received it");
            }
            messages = records_from_bytes("message", bytes_of(*item), type, session);
        } catch (const failure &error) {
            input.complain(error.what());
        }
        for (const record &message : messages) {
            take(message, time_text(item->time_ns) + " " +
                              (source < names.size()  ? names[source]
                               : input.has_channels() ? "unknown"
                                                      : "captured") +
                              "\n");
        }
    }
}

}  // namespace ptpcfg
