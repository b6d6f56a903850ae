// The stream statistics by the library, its accessors by their inline forms.
#define BENCH_INLINE_FORMS
#include "records/statistics.h"

#include "records/record.h"

namespace bench {
namespace {

const contender entry(
    "stream_statistics", "ours", [] { return plain<statistics_record<>>().fault(); },
    codec_works(plain<statistics_record<>>) + instance_works(plain<statistics_record<>>));

}  // namespace
}  // namespace bench
