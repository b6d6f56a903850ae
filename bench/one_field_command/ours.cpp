// A command of one field by the library, its accessors by their inline forms.
#define BENCH_INLINE_FORMS
#include "records/command.h"

#include "records/record.h"

namespace bench {
namespace {

const contender entry(
    "one_field_command", "ours", [] { return plain<command_record<>>().fault(); },
    codec_works(plain<command_record<>>) + instance_works(plain<command_record<>>));

}  // namespace
}  // namespace bench
