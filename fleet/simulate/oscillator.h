// An oscillator and the phase that it makes: noise and drift, steered by a servo while there is a reference.
#pragma once

#include "random.h"

namespace ptp_fleet {

enum class discipline {
    free,      // nothing steers it
    pulling,   // the servo takes the offset away, quickly
    following  // it filters the noise of the network
};

class oscillator {
  public:
    oscillator(std::uint64_t seed, std::uint64_t element);

    /** Lets so many seconds go by. @param reference_ns  phase of what is followed, as it is seen through the network */
    void run(double seconds, discipline how, double reference_ns);
    /** Sets the phase to another value at once. */
    void step(double ns) { phase_ns_ += ns; }

    double phase_ns() const { return phase_ns_; }
    double frequency_ppb() const { return frequency_ppb_ + learnt_ppb_; }

  private:
    random_source random_;
    double frequency_ppb_;   // of the crystal, as it wanders
    double learnt_ppb_ = 0;  // the servo's correction
    double aging_ppb_a_day_;
    double phase_ns_;
};

}  // namespace ptp_fleet
