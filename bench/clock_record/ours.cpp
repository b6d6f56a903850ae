// The clock record by the library's C functions.
#include "records/clock.h"
#include "records/record.h"

namespace bench {
namespace {

template <class Way>
record_fixture<clock_record<Way>> &own() {
    static record_fixture<clock_record<Way>> it(make_handle(), make_handle());
    return it;
}

template <class Way>
std::vector<work> field_works() {
    return {{"decode and read by field", [](benchmark::State &state) {
                 record_fixture<clock_record<Way>> &f = own<Way>();
                 repeat(state, [&] {
                     f.unmarshal();
                     return clock_record<Way>::read_by_field(f.receiver, f.received, &f.err);
                 });
             }}};
}

template <class Way>
std::string check() {
    record_fixture<clock_record<Way>> &f = own<Way>();
    const std::string fault = f.fault();
    if (!fault.empty()) {
        return fault;
    }
    return clock_record<Way>::read_by_field(f.receiver, f.received, &f.err) == example_clock
               ? ""
               : "fields read singly differ";
}

const contender entry("clock_record", "ours", check<by_inline_form>,
                      codec_works(own<by_inline_form>) + field_works<by_inline_form>() +
                          instance_works(own<by_inline_form>));
const contender calling("clock_record", "ours, by calls", check<by_call>,
                        access_works(own<by_call>) + field_works<by_call>());

}  // namespace
}  // namespace bench
