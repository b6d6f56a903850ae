// Replaces new, so that the allocation a test names has none.
#include "failing_memory.h"

#include <cstdlib>
#include <new>

thread_local test::failing_memory test::memory;

void *test::allocate(size_t size) { return memory.refuses() ? nullptr : std::malloc(size != 0 ? size : 1); }

bool test::can_fail() {
    memory.fail_after(0);
    ::operator delete(::operator new(1, std::nothrow));  // calls, which no compiler leaves out
    const bool failed = memory.has_failed();
    memory.stop();
    return failed;
}

void *operator new(size_t size) {
    if (void *block = test::allocate(size)) {
        return block;
    }
    throw std::bad_alloc();
}
void *operator new[](size_t size) { return operator new(size); }
// By themselves these would come here, but not where a sanitizer has its own.
void *operator new(size_t size, const std::nothrow_t &) noexcept { return test::allocate(size); }
void *operator new[](size_t size, const std::nothrow_t &) noexcept { return test::allocate(size); }
void operator delete(void *block) noexcept { std::free(block); }
void operator delete[](void *block) noexcept { std::free(block); }
void operator delete(void *block, size_t) noexcept { std::free(block); }
void operator delete[](void *block, size_t) noexcept { std::free(block); }
