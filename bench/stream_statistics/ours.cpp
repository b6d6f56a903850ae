// The stream statistics by the library's C functions.
#include "records/statistics.h"

#include "records/record.h"

namespace bench {
namespace {

template <class Way>
record_fixture<statistics_record<Way>> &own() {
    static record_fixture<statistics_record<Way>> it(make_handle(), make_handle());
    return it;
}

const contender entry(
    "stream_statistics", "ours", [] { return own<by_inline_form>().fault(); },
    codec_works(own<by_inline_form>) + instance_works(own<by_inline_form>));
const contender calling(
    "stream_statistics", "ours, by calls", [] { return own<by_call>().fault(); }, access_works(own<by_call>));

}  // namespace
}  // namespace bench
