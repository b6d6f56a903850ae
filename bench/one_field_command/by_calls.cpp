// A command of one field by the library's functions alone.
#include "records/command.h"

#include "records/record.h"

namespace bench {
namespace {

record_fixture<command_record<>> &own() {
    static record_fixture<command_record<>> it(make_handle(), make_handle());
    return it;
}

const contender entry(
    "one_field_command", "ours, by calls", [] { return own().fault(); }, access_works(own));

}  // namespace
}  // namespace bench
