// The clock record under handles that track the state of fields: state flags travel too.
#define BENCH_INLINE_FORMS
#include "records/record.h"

namespace bench {
namespace {

record_fixture<clock_record<>> &own() {
    static record_fixture<clock_record<>> it(make_tracking_handle(), make_tracking_handle());
    return it;
}

const contender entry(
    "clock_record", "tracked", [] { return own().fault(); }, codec_works(own) + instance_works(own));

}  // namespace
}  // namespace bench
