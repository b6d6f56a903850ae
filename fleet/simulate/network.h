// A network of clocks: grandmasters, and boundary clocks below them, each with two links up.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "fault_script.h"
#include "oscillator.h"

namespace ptp_fleet {

/** As runtime reports give it; the numbers are the model's. */
enum class lock { freerun = 2, holdover = 3, acquiring = 4, frequency = 5, phase = 6 };

/** What a clock announces, and those below it compare. */
struct announced {
    int priority1 = 128;
    int clock_class = 248;
    int priority2 = 128;
    std::uint32_t grandmaster = 0;
    std::uint32_t steps = 0;
};

struct element {
    oscillator crystal;
    std::array<std::uint32_t, 2> up = {};  // elements above, the primary first; its own number: none
    lock state = lock::freerun;
    double state_since = 0;
    announced own = {};        // as its own grandmaster
    announced best = {};       // as it announces now
    std::uint32_t parent = 0;  // its own number: none
    double path_delay_ns = 0;
    double offset_ns = 0;  // from what it follows, as it measures it
    bool has_satellites = false;
    bool is_silent = false;
    double stepped_ns = 0;            // in this second
    bool has_changed_master = false;  // in this second
};

class network {
  public:
    /** @param grandmasters  at least 1, the elements 0 and on */
    network(std::uint64_t seed, std::uint32_t elements, std::uint32_t grandmasters, std::vector<fault> faults);

    /** Lets a second go by. */
    void run_second();

    double time() const { return time_; }  // seconds since the start
    const std::vector<element> &elements() const { return elements_; }

  private:
    struct influence {
        std::array<bool, 2> is_cut = {};
        bool has_no_satellites = false;
        int priority1 = -1;  // below 0: its own
    };

    void place(std::uint32_t number, std::uint32_t grandmasters);
    influence faults_of(std::uint32_t number);
    void announce(std::uint32_t number, const influence &of);
    bool choose(std::uint32_t number, const influence &of);
    void change_state(element &of, bool has_reference);
    void enter(element &of, lock state);

    std::uint64_t seed_;
    std::vector<element> elements_;
    std::vector<fault> faults_;
    random_source random_;
    double time_ = 0;
};

}  // namespace ptp_fleet
