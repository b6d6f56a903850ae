// Counting the instructions of a call, between two dumps of callgrind that are named after it.
#pragma once

#include <valgrind/callgrind.h>

#include <string>

#include "velalib.h"

namespace bench {

constexpr u_int32 repetitions = 20;

/** Counts the instructions of `call`, once everything that is set up at a first call is there. */
template <class Call>
void count(const std::string &name, Call call) {
    call();
    CALLGRIND_ZERO_STATS;
    for (u_int32 i = 0; i < repetitions; ++i) {
        call();
    }
    CALLGRIND_DUMP_STATS_AT(name.c_str());
}

/** Counts what records take to read by the accessors' inline forms. */
void count_inline_forms();

}  // namespace bench
