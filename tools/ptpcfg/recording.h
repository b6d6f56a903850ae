// A recording or capture as input: its records one by one, with what is torn or damaged named on standard error.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "formats.h"
#include "pcapng.h"
#include "session.h"
#include "vela_recorder.h"

namespace ptpcfg {

class recording {
  public:
    /** @param before_text  called before something is written to standard error; may be empty */
    explicit recording(const std::string &path, std::function<void()> before_text = {});

    /** The next record, or nullptr at the end; valid until the next call. Fails when a file cannot be read. */
    const vela_recording_item *next();

    /** Names a fault of the last record; the work goes on, and finish() fails. */
    void complain(const std::string &reason);
    /** Fails when something was damaged; a torn last record is a warning only. */
    void finish() const;

    const std::string &path() const { return path_; }
    /** Whether it tells the channels of messages. */
    bool has_channels() const { return capture_ == nullptr; }
    /** How much of it was passed, from 0 to 1. */
    double fraction() const;

  private:
    struct close_recording {
        void operator()(vela_recording *recording) const { vela_recording_close(recording); }
    };
    void say(const std::string &text) const;

    std::string path_;
    std::function<void()> before_text_;
    std::unique_ptr<vela_recording, close_recording> recording_;
    std::unique_ptr<capture_reader> capture_;  // in its place
    vela_recording_item item_{};
    size_t faults_ = 0;
};

inline std::string_view bytes_of(const vela_recording_item &item) {
    return {reinterpret_cast<const char *>(item.bytes), item.length};
}

/**
 * Gives every message of a recording to `take`, with a line that says its time and channel; what cannot be decoded is a
 * fault. `type`, if given, is the message that all must be.
 */
void each_recorded(recording &input, const ptp_cfg_type *type, const session &session,
                   const std::function<void(const record &, std::string_view heading)> &take);

}  // namespace ptpcfg
