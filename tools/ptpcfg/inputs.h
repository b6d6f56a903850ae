// An input of any format, recordings included, as records.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "formats.h"
#include "session.h"

namespace ptpcfg {

struct input_options {
    std::string path = "-";
    std::string from;  // a format's name, or empty
    std::string type;  // of a record without a message around it, or empty
};

/** Gets each record and, of a recording, a line with its time and channel; it may throw. */
using take_record_fn = std::function<void(const record &, std::string_view heading)>;

/**
 * Gives every record to `take` as soon as it is read. Fails at what is wrong; of a recording at its end, behind what
 * could be read. Returns the format that it was.
 */
format each_record_of(const input_options &input, const session &session, const take_record_fn &take);

}  // namespace ptpcfg
