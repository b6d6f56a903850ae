// Who may be a peer of a listening end, and what is told of those who may not.
#pragma once

#include <vector>

#include "peer.h"

namespace vela::transport {

constexpr u_int32 never = 0xFFFFFFFFu;

// The peer that makes room for a newcomer when all places are taken: of those that have shown nothing of a peer since
// they came, `idle_ms` ago or longer, the one that came first. Null when there is none.
peer *longest_silent(const std::vector<std::unique_ptr<peer>> &peers, u_int64 now_ms, u_int32 idle_ms);

// Those who were turned away since this was last told: a flood of them is one event a second.
class refusals {
  public:
    static constexpr u_int32 pause_ms = 1000;

    void add(u_int32 err, std::string text);
    bool empty() const { return count_ == 0; }
    u_int32 err() const { return err_; }
    u_int32 count() const { return count_; }
    // The last of them, and how many there were.
    std::string text() const;

  private:
    u_int32 count_ = 0;
    u_int32 err_ = 0;
    std::string text_;
};

}  // namespace vela::transport
