/**
 * The runtime's primitives and cheap checks as inline C++: what record libraries use where a call would cost
 * more than the work. Namespace vela_inline; the names and arguments are those of the exported functions, and
 * calls should be qualified, for the exported ones are visible too. It is not installed: programs have ptp_cfg_inline.h.
 *
 * It uses no C++ library, no exceptions and no RTTI. Only this runtime may be used with it: a library for another
 * one calls the exported functions.
 */
#ifndef VELALIB_INLINE_H
#define VELALIB_INLINE_H

#include "velalib/inline/base.h"
#include "velalib/inline/checks.h"
#include "velalib/inline/hash.h"
#include "velalib/inline/wire.h"
#include "velalib_inline_primitives.h"  // generated

#endif
