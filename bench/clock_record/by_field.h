// The clock record read by an accessor for each field, in the way that the source which includes this has chosen.
#pragma once

#include "records/clock.h"
#include "records/record.h"

namespace bench {
namespace {

void decode_and_read_by_field(benchmark::State &state) {
    record_fixture<clock_record<>> &f = plain<clock_record<>>();
    repeat(state, [&] {
        f.unmarshal();
        return clock_record<>::read_by_field(f.receiver, f.received, &f.err);
    });
}

std::vector<work> field_works() { return {{"decode and read by field", decode_and_read_by_field}}; }

std::string check() {
    record_fixture<clock_record<>> &f = plain<clock_record<>>();
    const std::string fault = f.fault();
    if (!fault.empty()) {
        return fault;
    }
    const bool same = clock_record<>::read_by_field(f.receiver, f.received, &f.err) == example_clock;
    return same ? "" : "fields read singly differ";
}

}  // namespace
}  // namespace bench
