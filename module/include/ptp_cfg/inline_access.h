/**
 * What the forms of ptp_cfg_inline.h are made of; not for use by itself.
 *
 * Each test answers non-zero when the access needs no more than a load or a store. It has then forgotten the handle's
 * last error, as the access would; where it answers 0, the exported function is called and starts anew.
 */
#ifndef PTP_CFG_INLINE_ACCESS_H
#define PTP_CFG_INLINE_ACCESS_H

#include <string.h>

#include "velalib.h"

/** The compiler uses the definition for calls only; an address taken is that of the exported function. */
#define PTP_CFG_INLINE_FORM extern inline __attribute__((gnu_inline, always_inline))
/** Lays a test out for the case that it holds. */
#define PTP_CFG_INLINE_LIKELY(test) __builtin_expect((test), 1)

VELA_BEGIN_C

/** Bytes at an offset of an instance. */
PTP_CFG_INLINE_FORM void *ptp_cfg_inline_at(const void *instance, u_int32 offset) {
    return (u_int8 *)instance + offset;
}

/** The number of an enumeration instance, which stands behind its header. */
PTP_CFG_INLINE_FORM u_int32 *ptp_cfg_inline_value(const void *enumeration) {
    return (u_int32 *)ptp_cfg_inline_at(enumeration, 12);
}

/** Begins an access to an instance that is there, without an error before it. */
PTP_CFG_INLINE_FORM int ptp_cfg_inline_begin(vela_handle *handle, const void *instance, const u_int32 *err) {
    const int begins = PTP_CFG_INLINE_LIKELY(instance != NULL) && PTP_CFG_INLINE_LIKELY(*err == 0);
    if (begins) {
        handle->last_error.code = 0;
        handle->last_error.epoch = 0;
    }
    return begins;
}

/** Begins to read what instances have from variant `since` on. */
PTP_CFG_INLINE_FORM int ptp_cfg_inline_read(vela_handle *handle, const void *instance, int since, const u_int32 *err) {
    /* Hides where the pointer came from: the compiler would follow each origin by itself, and have every argument of
       the call ready on each of these ways, also for an access that makes no call. */
    __asm__("" : "+r"(instance));
    if (PTP_CFG_INLINE_LIKELY(instance != NULL)) {
        const u_int32 lacks = ((const vela_instance_header *)instance)->variant < since;
        const u_int32 both = *err | lacks; /* one branch, which makes for shorter code than two */
        return ptp_cfg_inline_begin(handle, instance, &both);
    }
    return 0;
}

/** Begins to store it without a hook to tell; state flags stay as they are. */
PTP_CFG_INLINE_FORM int ptp_cfg_inline_replace(vela_handle *handle, const void *instance, int since,
                                               const u_int32 *err) {
    return PTP_CFG_INLINE_LIKELY(handle->pre_write == NULL) && ptp_cfg_inline_read(handle, instance, since, err);
}

/** The same on a handle that tracks no state, so that there is no flag to set. */
PTP_CFG_INLINE_FORM int ptp_cfg_inline_store(vela_handle *handle, const void *instance, int since, const u_int32 *err) {
    return PTP_CFG_INLINE_LIKELY(handle->sttr_record == NULL) && ptp_cfg_inline_replace(handle, instance, since, err);
}

/** Whether an enumeration instance is of this release's variant, which has all values below `end`. */
PTP_CFG_INLINE_FORM int ptp_cfg_inline_admits(const void *enumeration, int latest, u_int32 end, u_int32 value) {
    return PTP_CFG_INLINE_LIKELY(((const vela_instance_header *)enumeration)->variant == latest) &&
           PTP_CFG_INLINE_LIKELY(value < end);
}

VELA_END_C

#endif
