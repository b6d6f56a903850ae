// The accessors of single fields by their inline forms.
#define BENCH_INLINE_FORMS
#include "field_access/accessors.h"

namespace bench {
namespace {

const contender entry("field_access", "ours", check, accessor_works());

}  // namespace
}  // namespace bench
