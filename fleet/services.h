// What a collector offers to those who show it.
#pragma once

#include "alarm_book.h"
#include "command_desk.h"
#include "fleet_state.h"
#include "history.h"
#include "topology.h"

namespace ptp_fleet {

/** All live as long as what is served. */
struct services {
    fleet_state &state;
    alarm_book &alarms;
    history &past;
    command_desk &commands;
};

}  // namespace ptp_fleet
