// What was taken and is not confirmed yet: on disk, bounded, the oldest reports giving way to what is newer.
#pragma once

#include "segment_log.h"

namespace vela::nats {

class message_store {
  public:
    // An empty folder: the store ends with the process.
    message_store(const std::string &folder, u_int64 most_bytes);

    // Takes hold of the folder, for this process alone, and finds what an earlier one left. False with the reason.
    bool open(failure &why);

    enum class outcome { taken, full, failed };
    // Takes a message under the next sequence number. `dropped` receives how many older reports gave way.
    outcome add(stored_message message, u_int32 &dropped, failure &why);

    bool has_waiting() {
        return kept_.first_waiting() < kept_.entries().size() || reports_.first_waiting() < reports_.entries().size();
    }
    // The oldest that waits, which is then on its way. False when none does. `damaged` receives how many were passed over
    // because the disk no longer has them as they were.
    bool take_next(stored_message &message, u_int32 &damaged);
    // It has arrived, or is given up; false when it was so already.
    bool finish(u_int64 sequence);
    // Everything that is on its way has to go again.
    void rewind();

    // Notes in the folder how far everything is done; false with the reason. A process that is killed before it noted
    // what arrived sends that again, under the same numbers.
    bool note_progress(failure &why);

    // Says who numbered the messages: the same for all that the folder ever held.
    const std::string &identity() const { return identity_; }
    u_int32 unfinished() const { return kept_.unfinished() + reports_.unfinished(); }
    u_int32 waiting_before_start() const { return found_; }
    bool outlives_process() const { return !folder_.empty(); }

  private:
    bool make_room(u_int64 length, bool is_report, u_int32 &dropped);
    bool drop_oldest_report();
    bool read_state(failure &why);

    std::string folder_;
    u_int64 most_bytes_;
    file_descriptor state_;
    std::string identity_;
    u_int64 state_number_ = 0;
    u_int64 next_ = 1;
    u_int32 found_ = 0;
    segment_log kept_;  // commands, events, and whatever is not known
    segment_log reports_;
};

}  // namespace vela::nats
