// Random numbers that are the same on every machine for the same seed, each element with its own.
#pragma once

#include <cstdint>

namespace ptp_fleet {

class random_source {
  public:
    random_source(std::uint64_t seed, std::uint64_t stream) : state_(seed * 0x9E3779B97F4A7C15u + stream) { next(); }

    /** Evenly from 0 up to 1. */
    double even() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

    /** About normal, with that standard deviation: twelve even numbers, which need no function of the C library. */
    double normal(double deviation) {
        double sum = -6;
        for (int i = 0; i < 12; ++i) {
            sum += even();
        }
        return sum * deviation;
    }

  private:
    std::uint64_t next() {
        std::uint64_t value = (state_ += 0x9E3779B97F4A7C15u);
        value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
        value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
        return value ^ (value >> 31);
    }

    std::uint64_t state_;
};

}  // namespace ptp_fleet
