// The clock record by the library's functions alone.
#include "clock_record/by_field.h"

namespace bench {
namespace {

const contender entry("clock_record", "ours, by calls", check, access_works(plain<clock_record<>>) + field_works());

}  // namespace
}  // namespace bench
