// A command of one field by the library's functions alone.
#include "records/command.h"

#include "records/record.h"

namespace bench {
namespace {

const contender entry(
    "one_field_command", "ours, by calls", [] { return plain<command_record<>>().fault(); },
    access_works(plain<command_record<>>));

}  // namespace
}  // namespace bench
