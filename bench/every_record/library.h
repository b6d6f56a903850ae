// The library as a contender, its accessors in the way that the source which includes this has chosen.
#pragma once

#include "records/record.h"

namespace bench {
namespace {

using record = BENCH_RECORD<>;
using fixture = record_fixture<record>;

std::string check() {
    fixture &f = plain<record>();
    const std::string fault = f.fault();
    if (!fault.empty()) {
        return fault;
    }
    return record::read_by_field(f.receiver, f.received, &f.err) == record::example() ? ""
                                                                                      : "fields read singly differ";
}

/** Reading by an accessor for each field, beside those for whole structures. */
std::vector<work> field_works() {
    return {timed("decode and read by field", plain<record>, [](fixture &f) {
        f.unmarshal();
        return record::read_by_field(f.receiver, f.received, &f.err);
    })};
}

}  // namespace
}  // namespace bench
