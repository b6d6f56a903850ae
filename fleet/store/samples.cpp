// Each sample as its difference from the one before: most are a few bytes.
#include "samples.h"

#include <algorithm>
#include <cmath>

#include "coding.h"

namespace ptp_fleet {
namespace {

constexpr double parts = 16;  // of a nanosecond
constexpr std::int64_t microsecond = 1000;

std::int64_t scaled(double ns) { return std::llround(std::clamp(ns, -1e17, 1e17) * parts); }

}  // namespace

void sample_chunk::add(const sample &of) {
    put_difference(coded, static_cast<std::int64_t>(of.time_ns) / microsecond -
                              static_cast<std::int64_t>(before_.time_ns) / microsecond);
    put_difference(coded, scaled(of.offset_ns) - scaled(before_.offset_ns));
    put_difference(coded, scaled(of.delay_ns) - scaled(before_.delay_ns));
    before_ = of;
    low = count == 0 ? of.offset_ns : std::min(low, of.offset_ns);
    high = count == 0 ? of.offset_ns : std::max(high, of.offset_ns);
    sum += of.offset_ns;
    delay_sum += of.delay_ns;
    first_ns = std::min(first_ns, of.time_ns);
    last_ns = std::max(last_ns, of.time_ns);
    ++count;
}

series_point sample_chunk::summed() const {
    const auto number = static_cast<double>(count);
    return {first_ns, count, low, sum / number, high, delay_sum / number};
}

std::vector<sample> read_samples(std::span<const std::uint8_t> coded) {
    std::vector<sample> result;
    std::int64_t time_us = 0, offset = 0, delay = 0;
    for (coded_input in(coded); !in.is_at_end();) {
        time_us += in.difference();
        offset += in.difference();
        delay += in.difference();
        result.push_back({static_cast<std::uint64_t>(time_us * microsecond), static_cast<double>(offset) / parts,
                          static_cast<double>(delay) / parts});
    }
    return result;
}

void open_samples::add(const clock_name &name, const sample &of) {
    const std::lock_guard lock(mutex_);
    chunks_[name].add(of);
}

std::vector<sample> open_samples::of(const clock_name &name) const {
    const std::lock_guard lock(mutex_);
    const auto found = chunks_.find(name);
    return found == chunks_.end() ? std::vector<sample>() : read_samples(found->second.coded);
}

void open_samples::clear() {
    const std::lock_guard lock(mutex_);
    chunks_.clear();
}

point_merger::point_merger(std::uint64_t from_ns, std::uint64_t to_ns, std::size_t most_points)
    : from_ns_(from_ns),
      to_ns_(to_ns),
      width_ns_(std::max<std::uint64_t>(1, (to_ns - from_ns) / std::max<std::size_t>(1, most_points) + 1)) {}

void point_merger::add(const series_point &of) {
    if (of.time_ns < from_ns_ || of.time_ns >= to_ns_ || of.count == 0) {
        return;
    }
    series_point &to = whiles_[(of.time_ns - from_ns_) / width_ns_];
    if (to.count == 0) {
        to = of;
        return;
    }
    const double share = static_cast<double>(of.count) / static_cast<double>(to.count + of.count);
    to.time_ns = std::min(to.time_ns, of.time_ns);
    to.count += of.count;
    to.offset_low = std::min(to.offset_low, of.offset_low);
    to.offset_high = std::max(to.offset_high, of.offset_high);
    to.offset_mean += (of.offset_mean - to.offset_mean) * share;
    to.delay_mean += (of.delay_mean - to.delay_mean) * share;
}

std::vector<series_point> point_merger::points() const {
    std::vector<series_point> result;
    for (const auto &[number, point] : whiles_) {
        result.push_back(point);
    }
    std::sort(result.begin(), result.end(),
              [](const series_point &a, const series_point &b) { return a.time_ns < b.time_ns; });
    return result;
}

}  // namespace ptp_fleet
