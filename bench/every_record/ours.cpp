// A record by the library, its accessors by their inline forms.
#define BENCH_INLINE_FORMS
#include "every_record/library.h"

namespace bench {
namespace {

const contender entry(record::scenario, "ours", check,
                      codec_works(plain<record>) + field_works() + instance_works(plain<record>));

}  // namespace
}  // namespace bench
