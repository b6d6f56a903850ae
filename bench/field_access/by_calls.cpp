// The accessors of single fields as functions of the library.
#include "field_access/accessors.h"

namespace bench {
namespace {

const contender entry("field_access", "ours, by calls", check, accessor_works());

}  // namespace
}  // namespace bench
