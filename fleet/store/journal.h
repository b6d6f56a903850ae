// Messages in the order in which they were taken, many together in a compressed piece.
#pragma once

#include <functional>
#include <vector>

#include "fleet_state.h"

namespace ptp_fleet {

struct journal_entry {
    clock_name name;
    std::string source;
    std::uint64_t sequence = 0;
    std::string message;  // short name
    std::uint64_t time_ns = 0, heard_ns = 0;
    std::vector<std::uint8_t> bytes;  // empty of what was refused: its number is taken all the same
};

/** A piece is written at once, so that it is there or not. */
class journal_piece {
  public:
    void add(const journal_entry &of);
    std::size_t count() const { return count_; }
    std::size_t size() const { return raw_.size(); }
    std::uint64_t first_ns() const { return first_ns_; }
    std::uint64_t last_ns() const { return last_ns_; }
    std::vector<std::uint8_t> compressed() const;
    void clear();

  private:
    std::vector<std::uint8_t> raw_;
    std::size_t count_ = 0;
    std::uint64_t first_ns_ = 0, last_ns_ = 0;  // by the server's time
};

/** Throws std::runtime_error when the piece is damaged. */
void read_piece(std::span<const std::uint8_t> compressed, const std::function<void(const journal_entry &)> &to);

}  // namespace ptp_fleet
