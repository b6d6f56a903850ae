// Tells memory checkers which bytes of the allocator are in use.
#include "memory_watch.h"

#include <cstddef>

#if __has_include(<valgrind/memcheck.h>)
#include <valgrind/memcheck.h>
#endif

// There in every program with an address sanitizer, also when this library was built without.
extern "C" [[gnu::weak]] void __asan_poison_memory_region(const volatile void *address, size_t size);

namespace {

/** Other tools of the same family do not look at memory: what they measure stays as it is without them. */
bool runs_in_memcheck() {
#ifdef VALGRIND_MAKE_MEM_DEFINED
    const int probe = 0;
    return VALGRIND_MAKE_MEM_DEFINED(&probe, sizeof probe) != 0;
#else
    return false;
#endif
}

}  // namespace

bool velalib::memory_is_watched() {
    static const bool watched = &__asan_poison_memory_region != nullptr || runs_in_memcheck();
    return watched;
}
