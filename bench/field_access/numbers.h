// Numbers to set a field to.
#pragma once

#include "harness/contender.h"
#include "velalib.h"

namespace bench {

/** Times `step(own(), number)` with numbers that the compiler does not know. */
template <class Own, class Step>
std::function<void(benchmark::State &)> with_numbers(Own own, Step step) {
    return [own, step](benchmark::State &state) {
        auto &fixture = own();
        u_int32 number = 0;
        repeat(state, [&] {
            number = (number + 1) & 7;
            return step(fixture, number);
        });
    };
}

}  // namespace bench
