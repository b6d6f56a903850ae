// The tables, and the number that says which they are.
#pragma once

#include "database.h"

namespace ptp_fleet {

/** Makes the tables where there are none. Throws database_error for a file of a later release. */
void prepare_tables(database &of);

}  // namespace ptp_fleet
