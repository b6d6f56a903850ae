// Which accessors a source works with: the library's functions, or with BENCH_INLINE_FORMS defined the forms of
// ptp_cfg_inline.h, which have the same names. Templates have the way as an argument, so that both can be in a program.
#pragma once

#ifdef BENCH_INLINE_FORMS
#include "ptp_cfg_inline.h"
#else
#include "ptp_cfg.h"
#endif

namespace bench {

struct by_call {};
struct by_inline_form {};

#ifdef BENCH_INLINE_FORMS
using access_way = by_inline_form;
#else
using access_way = by_call;
#endif

/** The type of a record's instances and its functions, by the names that all records have. */
#define BENCH_FUNCTIONS_OF(type)                        \
    using instance = type;                              \
    static constexpr auto create = type##_create;       \
    static constexpr auto destroy = type##_destroy;     \
    static constexpr auto marshal = type##_marshal;     \
    static constexpr auto unmarshal = type##_unmarshal; \
    static constexpr auto clone = type##_clone_cr;      \
    static constexpr auto copy = type##_copy_cr;        \
    static constexpr auto compare = type##_compare;     \
    static constexpr auto hash = type##_hash;           \
    static constexpr auto print = type##_print;

}  // namespace bench
