// The clock record by the same C functions on handles that keep off the fast path: a domain that names a type which
// does not exist, and so changes nothing, for marshal; a hook that does nothing for unmarshal.
#include "records/clock.h"
#include "records/record.h"

namespace bench {
namespace {

record_fixture<clock_record> &own() {
    static record_fixture<clock_record> it(make_domain_handle("no_such_type", 0), make_hooked_handle());
    return it;
}

const contender entry(
    "clock_record", "exact path", [] { return own().fault(); }, codec_works(own));

}  // namespace
}  // namespace bench
