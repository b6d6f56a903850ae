// Figures of a good crystal in an element that stands outside: some ppb of wander an hour, aging of a ppb a day.
#include "oscillator.h"

#include <cmath>

namespace ptp_fleet {
namespace {

constexpr double seconds_a_day = 86400;
constexpr double initial_ppb = 400;  // how far a crystal may be off when nothing was learnt
constexpr double initial_phase_ns = 5e5;
constexpr double wander_ppb = 0.02;  // random walk of the frequency, per square root of a second
constexpr double aging_ppb = 1.5;    // a day, at most
constexpr double white_ns = 0.5;     // of a reading
constexpr double pull_s = 2;         // in which the servo takes away two thirds of an offset
constexpr double filter_s = 6;       // the same once it is locked
constexpr double learning = 0.05;    // part of a frequency error that the servo learns in a second

}  // namespace

oscillator::oscillator(std::uint64_t seed, std::uint64_t element)
    : random_(seed, element),
      frequency_ppb_(random_.normal(initial_ppb / 3)),
      aging_ppb_a_day_(random_.normal(aging_ppb / 3)),
      phase_ns_(random_.normal(initial_phase_ns / 3)) {}

void oscillator::run(double seconds, discipline how, double reference_ns) {
    frequency_ppb_ += random_.normal(wander_ppb) * std::sqrt(seconds) + aging_ppb_a_day_ * seconds / seconds_a_day;
    phase_ns_ += frequency_ppb() * seconds;  // a ppb is a nanosecond a second
    if (how == discipline::free) {
        phase_ns_ += random_.normal(white_ns);
        return;
    }
    phase_ns_ -=
        (phase_ns_ - reference_ns) * (1 - std::exp(-seconds / (how == discipline::pulling ? pull_s : filter_s)));
    learnt_ppb_ -= frequency_ppb() * (1 - std::pow(1 - learning, seconds));
}

}  // namespace ptp_fleet
