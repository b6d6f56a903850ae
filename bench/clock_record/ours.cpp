// The clock record by the library, its accessors by their inline forms.
#define BENCH_INLINE_FORMS
#include "clock_record/by_field.h"

namespace bench {
namespace {

const contender entry("clock_record", "ours", check,
                      codec_works(plain<clock_record<>>) + field_works() + instance_works(plain<clock_record<>>));

}  // namespace
}  // namespace bench
