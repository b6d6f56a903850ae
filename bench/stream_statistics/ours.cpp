// The stream statistics by the library's C functions.
#include "records/statistics.h"

#include "records/record.h"

namespace bench {
namespace {

record_fixture<statistics_record> &own() {
    static record_fixture<statistics_record> it(make_handle(), make_handle());
    return it;
}

const contender entry(
    "stream_statistics", "ours", [] { return own().fault(); }, codec_works(own) + instance_works(own));

}  // namespace
}  // namespace bench
