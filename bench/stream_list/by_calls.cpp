// The list of 128 streams by the library's functions alone.
#include "records/stream_list.h"

#include "records/record.h"

namespace bench {
namespace {

const contender entry(
    "stream_list", "ours, by calls", [] { return plain<stream_list_record<>>().fault(); },
    access_works(plain<stream_list_record<>>));

}  // namespace
}  // namespace bench
