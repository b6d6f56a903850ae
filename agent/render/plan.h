// From what is asked to what is done: the daemon's configuration, and the smallest action that brings it there.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "agent/daemon.h"
#include "agent/intent/clock_intent.h"

namespace ptp_agent {

/** Rows "option = value" of the daemon's file. */
using OptionList = std::vector<std::pair<std::string, std::string>>;

/** What the element's maker says of the element and no message does; from the agent's configuration. */
struct RenderOptions {
    OptionList global;                             ///< of [global]: time_stamping, step_threshold, uds_address, ...
    std::map<std::string, OptionList> interfaces;  ///< of an interface's section: delayAsymmetry, egressLatency, ...
};

/** The problems of RenderOptions, for people: options that the intent decides, values that would break a line. */
std::vector<std::string> check(const RenderOptions &options);

/** A rendering with what could not be done exactly as asked. */
struct Ptp4lRendering {
    Rendering rendering;
    std::vector<std::string> notes;  ///< for people: "two_step_flag: ..."
};

/** ptp4l's configuration of a clock. The same intent and options give the same bytes. `intent` has been validated. */
Ptp4lRendering render_ptp4l(const ClockIntent &intent, const RenderOptions &options);

/** One difference for people: "[eth0] logSyncInterval: -3 -> -4 (restart)". */
struct Change {
    std::string section;  ///< "global", an interface, "unicast_master_table 1"
    std::string option;
    std::string before;  ///< empty: was not there
    std::string after;   ///< empty: is no more
    bool needs_restart = true;
};

struct Plan {
    enum class Action : std::uint8_t {
        Nothing,
        Set,     ///< write the file, set `settings`; the daemon keeps running
        Restart  ///< write the file, start the daemon anew, then set `settings`
    };
    Action action = Action::Nothing;
    Settings settings;  ///< what to set
    std::vector<Change> changes;
};

/**
 * The smallest action from what runs to what is wanted. The file has the settable options too, so that a daemon starts
 * right; a difference in nothing else needs no restart.
 * @param running  nullptr: nothing runs
 */
Plan plan(const Rendering *running, const Rendering &wanted);

std::string to_text(const Change &change);
/** The plan as lines for people. */
std::string to_text(const Plan &plan);
/** "nothing", "set", "restart" */
std::string_view to_text(Plan::Action action);

}  // namespace ptp_agent
