// Lets time go by: faults, master selection from the top down, then every clock by itself.
#include "network.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace ptp_fleet {
namespace {

constexpr std::uint32_t links_down = 8;  // of a boundary clock
constexpr int class_locked = 6;          // to satellites
constexpr int class_holdover = 7;        // of a grandmaster, within its specification
constexpr int class_out_of_holdover = 140;
constexpr int class_free = 248;
constexpr double grandmaster_holdover_s = 3600;
constexpr double holdover_s = 1800;  // of a boundary clock
constexpr double settling_s = 3;     // in which everybody finds a first master
constexpr double fiber_ns_a_km = 4900;
constexpr double longest_km = 40;
constexpr double hop_noise_ns = 8;
constexpr double satellite_noise_ns = 5;

/** As IEEE 1588 compares them; accuracy and variance are the same here. */
auto rank(const announced &of) {
    return std::tuple(of.priority1, of.clock_class, of.priority2, of.grandmaster, of.steps);
}

}  // namespace

network::network(std::uint64_t seed, std::uint32_t elements, std::uint32_t grandmasters, std::vector<fault> faults)
    : seed_(seed), faults_(std::move(faults)), random_(seed, 0) {
    elements_.reserve(elements);
    for (std::uint32_t number = 0; number < elements; ++number) {
        place(number, std::min(grandmasters, elements));
    }
}

/** Above each is an element of a lower number, so that nothing follows itself. */
void network::place(std::uint32_t number, std::uint32_t grandmasters) {
    element next{oscillator(seed_, number + 1)};
    next.own.grandmaster = next.parent = number;
    next.up = {number, number};
    next.has_satellites = number < grandmasters;
    if (!next.has_satellites) {
        const std::uint32_t below = number - grandmasters;
        next.up[0] = below < grandmasters ? below : grandmasters + (below - grandmasters) / links_down;
        next.up[1] = next.up[0] + 1 < number ? next.up[0] + 1 : (next.up[0] > 0 ? next.up[0] - 1 : next.up[0]);
        next.path_delay_ns = (0.05 + random_.even()) * longest_km * fiber_ns_a_km;
    }
    elements_.push_back(next);
}

network::influence network::faults_of(std::uint32_t number) {
    influence result;
    element &of = elements_[number];
    of.is_silent = false;
    for (const fault &each : faults_) {
        if (!each.concerns(number) || !each.is_on(time_)) {
            continue;
        }
        switch (each.kind) {
            case fault_kind::link_cut:
            case fault_kind::flapping:
                result.is_cut[0] |= each.link != "secondary";
                result.is_cut[1] |= each.link == "secondary" || each.link == "both";
                break;
            case fault_kind::grandmaster_loss:
                result.has_no_satellites = true;
                break;
            case fault_kind::wrong_priority:
                result.priority1 = each.priority1;
                break;
            case fault_kind::clock_step:
                of.stepped_ns += time_ - each.at < 1 ? each.step_ns : 0;
                break;
            case fault_kind::silent:
                of.is_silent = true;
                break;
        }
    }
    return result;
}

/** What the clock would announce if it followed nobody. */
void network::announce(std::uint32_t number, const influence &of) {
    element &one = elements_[number];
    one.own.priority1 = of.priority1 >= 0 ? of.priority1 : 128;
    one.own.grandmaster = number;
    const bool has_satellites = one.has_satellites && !of.has_no_satellites;
    const bool holds = one.state == lock::holdover || one.state == lock::phase;
    one.own.clock_class = has_satellites                ? class_locked
                          : one.has_satellites && holds ? class_holdover
                          : one.state == lock::holdover ? class_out_of_holdover
                                                        : class_free;
}

/** Chooses among itself and those above; true when there is a reference to follow. */
bool network::choose(std::uint32_t number, const influence &of) {
    element &one = elements_[number];
    announced best = one.own;
    std::uint32_t parent = number;
    for (const size_t link : {size_t{0}, size_t{1}}) {
        const std::uint32_t above = one.up[link];
        if (above == number || of.is_cut[link] || (link == 1 && above == one.up[0])) {
            continue;
        }
        announced heard = elements_[above].best;
        ++heard.steps;
        if (rank(heard) < rank(best)) {
            best = heard;
            parent = above;
        }
    }
    const bool is_other = parent != one.parent || best.grandmaster != one.best.grandmaster;
    one.has_changed_master = is_other && time_ > settling_s;
    one.parent = parent;
    one.best = best;
    return parent != number ? best.clock_class < class_out_of_holdover : one.own.clock_class == class_locked;
}

void network::enter(element &of, lock state) {
    of.state_since = state != of.state ? time_ : of.state_since;
    of.state = state;
}

void network::change_state(element &of, bool has_reference) {
    const double lasted = time_ - of.state_since;
    if (!has_reference) {
        const bool was_locked = of.state == lock::phase || of.state == lock::frequency;
        const double longest = of.has_satellites ? grandmaster_holdover_s : holdover_s;
        if (was_locked) {
            enter(of, lock::holdover);
        } else if (of.state != lock::holdover || lasted > longest) {
            enter(of, lock::freerun);
        }
        return;
    }
    const double offset = std::abs(of.offset_ns);
    if (of.state == lock::freerun || of.state == lock::holdover || offset > 2000) {
        enter(of, lock::acquiring);
    } else if (of.state == lock::acquiring && lasted >= 5 && offset < 1000) {
        enter(of, lock::frequency);
    } else if (of.state == lock::frequency && lasted >= 5 && offset < 200) {
        enter(of, lock::phase);
    }
}

void network::run_second() {
    for (std::uint32_t number = 0; number < elements_.size(); ++number) {
        element &one = elements_[number];
        one.stepped_ns = 0;
        const influence of = faults_of(number);
        announce(number, of);
        const bool has_reference = choose(number, of);
        one.crystal.step(one.stepped_ns);
        const discipline how = !has_reference             ? discipline::free
                               : one.state == lock::phase ? discipline::following
                                                          : discipline::pulling;
        const double above = one.parent != number ? elements_[one.parent].crystal.phase_ns() : 0;
        const double reference = above + random_.normal(one.parent != number ? hop_noise_ns : satellite_noise_ns);
        one.crystal.run(1, how, reference);
        one.offset_ns = has_reference ? one.crystal.phase_ns() - reference : 0;
        change_state(one, has_reference);
    }
    time_ += 1;
}

}  // namespace ptp_fleet
