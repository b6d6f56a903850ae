// Offset and path delay: gathered in memory, kept in chunks of a clock and a while, merged into points of a plot.
#pragma once

#include <limits>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "history.h"

namespace ptp_fleet {

struct sample {
    std::uint64_t time_ns = 0;
    double offset_ns = 0;
    double delay_ns = 0;
};

/** What a clock said in a while. */
struct sample_chunk {
    std::uint64_t first_ns = std::numeric_limits<std::uint64_t>::max(), last_ns = 0;
    std::uint64_t count = 0;
    double low = 0, sum = 0, high = 0, delay_sum = 0;
    std::vector<std::uint8_t> coded;  // each of them, to a sixteenth of a nanosecond

    void add(const sample &of);
    series_point summed() const;

  private:
    sample before_;
};

std::vector<sample> read_samples(std::span<const std::uint8_t> coded);

/** What is not on disk yet. Any thread may call. */
class open_samples {
  public:
    void add(const clock_name &name, const sample &of);
    std::vector<sample> of(const clock_name &name) const;
    /** All of them; they stay until clear(). Only for the thread that adds. */
    const std::unordered_map<clock_name, sample_chunk, clock_name_hash> &all() const { return chunks_; }
    void clear();

  private:
    mutable std::mutex mutex_;
    std::unordered_map<clock_name, sample_chunk, clock_name_hash> chunks_;
};

/** Puts points into as many whiles of equal length. They need not be in order. */
class point_merger {
  public:
    point_merger(std::uint64_t from_ns, std::uint64_t to_ns, std::size_t most_points);
    void add(const series_point &of);
    std::vector<series_point> points() const;

  private:
    std::uint64_t from_ns_, to_ns_, width_ns_;
    std::unordered_map<std::uint64_t, series_point> whiles_;
};

}  // namespace ptp_fleet
