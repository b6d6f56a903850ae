// The clock record between this release and a peer whose time properties lack their latest field.
#define BENCH_INLINE_FORMS
#include "records/older_clock.h"
#include "records/record.h"

namespace bench {
namespace {

record_fixture<older_clock_record<>> &own() {
    static record_fixture<older_clock_record<>> it(older_clock_record<>::make_handle(),
                                                   older_clock_record<>::make_handle());
    return it;
}

std::string check() {
    record_fixture<older_clock_record<>> &f = own();
    return f.length == clock_record<>::width - 1 ? f.fault() : "the older encoding has another length";
}

const contender entry("clock_record", "older peer", check, codec_works(own));

}  // namespace
}  // namespace bench
