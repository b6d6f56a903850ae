// The list of 128 streams by the library, its accessors by their inline forms.
#define BENCH_INLINE_FORMS
#include "records/stream_list.h"

#include "records/record.h"

namespace bench {
namespace {

const contender entry(
    "stream_list", "ours", [] { return plain<stream_list_record<>>().fault(); },
    codec_works(plain<stream_list_record<>>) + instance_works(plain<stream_list_record<>>));

}  // namespace
}  // namespace bench
