// A record by the library's functions alone.
#include "every_record/library.h"

namespace bench {
namespace {

const contender entry(record::scenario, "ours, by calls", check, access_works(plain<record>) + field_works());

}  // namespace
}  // namespace bench
