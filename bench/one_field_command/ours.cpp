// A command of one field by the library, its accessors by their inline forms.
#define BENCH_INLINE_FORMS
#include "records/command.h"

#include "records/record.h"

namespace bench {
namespace {

record_fixture<command_record<>> &own() {
    static record_fixture<command_record<>> it(make_handle(), make_handle());
    return it;
}

const contender entry(
    "one_field_command", "ours", [] { return own().fault(); }, codec_works(own) + instance_works(own));

}  // namespace
}  // namespace bench
