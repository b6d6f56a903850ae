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

}  // namespace bench
