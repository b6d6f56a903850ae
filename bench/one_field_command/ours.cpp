// A command of one field by the library's C functions.
#include "records/command.h"

#include "records/record.h"

namespace bench {
namespace {

template <class Way>
record_fixture<command_record<Way>> &own() {
    static record_fixture<command_record<Way>> it(make_handle(), make_handle());
    return it;
}

const contender entry(
    "one_field_command", "ours", [] { return own<by_inline_form>().fault(); },
    codec_works(own<by_inline_form>) + instance_works(own<by_inline_form>));
const contender calling(
    "one_field_command", "ours, by calls", [] { return own<by_call>().fault(); }, access_works(own<by_call>));

}  // namespace
}  // namespace bench
