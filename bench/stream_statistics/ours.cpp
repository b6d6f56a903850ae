// The stream statistics by the library, its accessors by their inline forms.
#define BENCH_INLINE_FORMS
#include "records/statistics.h"

#include "records/record.h"

namespace bench {
namespace {

record_fixture<statistics_record<>> &own() {
    static record_fixture<statistics_record<>> it(make_handle(), make_handle());
    return it;
}

const contender entry(
    "stream_statistics", "ours", [] { return own().fault(); }, codec_works(own) + instance_works(own));

}  // namespace
}  // namespace bench
