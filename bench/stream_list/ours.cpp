// The list of 128 streams by the library's C functions.
#include "records/stream_list.h"

#include "records/record.h"

namespace bench {
namespace {

template <class Way>
record_fixture<stream_list_record<Way>> &own() {
    static record_fixture<stream_list_record<Way>> it(make_handle(), make_handle());
    return it;
}

const contender entry(
    "stream_list", "ours", [] { return own<by_inline_form>().fault(); },
    codec_works(own<by_inline_form>) + instance_works(own<by_inline_form>));
const contender calling(
    "stream_list", "ours, by calls", [] { return own<by_call>().fault(); }, access_works(own<by_call>));

}  // namespace
}  // namespace bench
