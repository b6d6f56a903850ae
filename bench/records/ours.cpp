// Records by the library, their accessors by their inline forms. The clock has a scenario's files of its own.
#define BENCH_INLINE_FORMS
#include "records/command.h"
#include "records/record.h"
#include "records/statistics.h"
#include "records/stream_list.h"

namespace bench {
namespace {

template <class R>
contender ours(const char *scenario) {
    return {scenario, "ours", [] { return plain<R>().fault(); }, codec_works(plain<R>) + instance_works(plain<R>)};
}

const contender command = ours<command_record<>>("one_field_command");
const contender statistics = ours<statistics_record<>>("stream_statistics");
const contender list = ours<stream_list_record<>>("stream_list");

}  // namespace
}  // namespace bench
