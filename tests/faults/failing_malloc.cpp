// Replaces malloc() and its like, so that whoever allocates, a library's library too, has no memory when a test says so.
#include <cerrno>
#include <cstdlib>

#include "failing_memory.h"

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
}

thread_local test::failing_memory test::memory;

namespace {

bool refuses() {
    const bool is_refused = test::memory.refuses();
    if (is_refused) {
        errno = ENOMEM;
    }
    return is_refused;
}

}  // namespace

void *malloc(size_t size) { return refuses() ? nullptr : __libc_malloc(size); }
void *calloc(size_t count, size_t size) { return refuses() ? nullptr : __libc_calloc(count, size); }
void *realloc(void *block, size_t size) { return refuses() ? nullptr : __libc_realloc(block, size); }

void *test::allocate(size_t size) { return malloc(size); }

bool test::can_fail() {
    memory.fail_after(0);
    void *volatile block = malloc(1);
    memory.stop();
    free(block);
    return block == nullptr;
}
