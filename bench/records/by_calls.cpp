// Records by the library's functions alone.
#include "records/command.h"
#include "records/record.h"
#include "records/statistics.h"
#include "records/stream_list.h"

namespace bench {
namespace {

template <class R>
contender by_calls(const char *scenario) {
    return {scenario, "ours, by calls", [] { return plain<R>().fault(); }, access_works(plain<R>)};
}

const contender command = by_calls<command_record<>>("one_field_command");
const contender statistics = by_calls<statistics_record<>>("stream_statistics");
const contender list = by_calls<stream_list_record<>>("stream_list");

}  // namespace
}  // namespace bench
