// What the rows of targets.cpp name: for each target what it does with an input, and how a well-formed one is made.
#pragma once

#include "target.h"

#define FUZZ_TARGET(name)      \
    void run_##name(input in); \
    octets make_##name(u_int64 number)

namespace fuzz {

// wire.cpp
FUZZ_TARGET(record);
FUZZ_TARGET(message);
FUZZ_TARGET(dispatch);
FUZZ_TARGET(bundle);
// text.cpp
FUZZ_TARGET(xml);
FUZZ_TARGET(json);
FUZZ_TARGET(formats);
// files.cpp
FUZZ_TARGET(domain);
FUZZ_TARGET(recording);
FUZZ_TARGET(recorder);
FUZZ_TARGET(trace);
FUZZ_TARGET(shared_types);
// channels.cpp
FUZZ_TARGET(unix_channel);
FUZZ_TARGET(tcp_channel);
// agent.cpp
FUZZ_TARGET(management);
FUZZ_TARGET(intent_file);
FUZZ_TARGET(intent_messages);
FUZZ_TARGET(notification_api);

}  // namespace fuzz
