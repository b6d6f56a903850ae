// The stream statistics by the library's functions alone.
#include "records/statistics.h"

#include "records/record.h"

namespace bench {
namespace {

const contender entry(
    "stream_statistics", "ours, by calls", [] { return plain<statistics_record<>>().fault(); },
    access_works(plain<statistics_record<>>));

}  // namespace
}  // namespace bench
