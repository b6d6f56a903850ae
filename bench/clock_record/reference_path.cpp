// The clock record by the same C functions on handles that keep to the reference path: they have a domain that names a type
// which does not exist, and so changes nothing, and a hook that does nothing.
#define BENCH_INLINE_FORMS
#include "records/record.h"

namespace bench {
namespace {

record_fixture<clock_record<>> &own() {
    static record_fixture<clock_record<>> it(make_reference_path_handle(), make_reference_path_handle());
    return it;
}

const contender entry(
    "clock_record", "reference path", [] { return own().fault(); }, codec_works(own));

}  // namespace
}  // namespace bench
