// The clock record by the library's C functions.
#include "records/clock.h"
#include "records/record.h"

namespace bench {
namespace {

record_fixture<clock_record> &own() {
    static record_fixture<clock_record> it(make_handle(), make_handle());
    return it;
}

void decode_and_read_by_field(benchmark::State &state) {
    record_fixture<clock_record> &f = own();
    repeat(state, [&] {
        f.unmarshal();
        return read_clock_by_field(f.receiver, f.received, &f.err);
    });
}

std::string check() {
    record_fixture<clock_record> &f = own();
    const std::string fault = f.fault();
    if (!fault.empty()) {
        return fault;
    }
    return read_clock_by_field(f.receiver, f.received, &f.err) == example_clock ? "" : "fields read singly differ";
}

const contender entry("clock_record", "ours", check,
                      codec_works(own) + std::vector<work>{{"decode and read by field", decode_and_read_by_field}} +
                          instance_works(own));

}  // namespace
}  // namespace bench
