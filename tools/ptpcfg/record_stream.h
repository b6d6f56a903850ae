// The records of an input one after the other, however many there are.
#pragma once

#include <functional>

#include "input_stream.h"
#include "records.h"

namespace ptpcfg {

/**
 * Gives every record of an input to `take`, which may throw, as soon as it is read and checked: messages one behind the
 * other, a bundle of them, their elements in XML, or one record of `bare_type`. Memory is for one record (of a bundle:
 * for the bundle). Fails at the first wrong byte; of XML it goes on to tell all faults, and gives no more records.
 */
void each_record(input_stream &input, format form, const ptp_cfg_type *bare_type, const session &session,
                 const std::function<void(const record &)> &take);

}  // namespace ptpcfg
