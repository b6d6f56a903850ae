// The list of 128 streams by the library, its accessors by their inline forms.
#define BENCH_INLINE_FORMS
#include "records/stream_list.h"

#include "records/record.h"

namespace bench {
namespace {

record_fixture<stream_list_record<>> &own() {
    static record_fixture<stream_list_record<>> it(make_handle(), make_handle());
    return it;
}

const contender entry(
    "stream_list", "ours", [] { return own().fault(); }, codec_works(own) + instance_works(own));

}  // namespace
}  // namespace bench
