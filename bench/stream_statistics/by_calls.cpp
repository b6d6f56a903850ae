// The stream statistics by the library's functions alone.
#include "records/statistics.h"

#include "records/record.h"

namespace bench {
namespace {

record_fixture<statistics_record<>> &own() {
    static record_fixture<statistics_record<>> it(make_handle(), make_handle());
    return it;
}

const contender entry(
    "stream_statistics", "ours, by calls", [] { return own().fault(); }, access_works(own));

}  // namespace
}  // namespace bench
