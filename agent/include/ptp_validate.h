/**
 * Judges configurations before they are sent: by the rules of their PTP profile, and by what the agent's daemon can do.
 *
 *     ptp_validation *validation = ptp_validation_create(NULL, &err);
 *     ptp_validation_add(validation, handle, clock_type, clock_message, &err);    // as often as needed, in order
 *     for (u_int32 i = 0; i < ptp_validation_count(validation, &err); ++i) {
 *         ptp_violation violation = {.size = sizeof violation};
 *         ptp_validation_get(validation, i, &violation, &err);
 *         puts(violation.text);
 *     }
 *     ptp_validation_destroy(validation);
 *
 * The messages are taken as the agent takes them: a port needs its clock before it, a modify command changes what the
 * messages before it made. What they come to is judged as a whole, once it is asked for.
 *
 * Calls with an error word follow the rules of velalib/runtime.h: with *err set on entry they do nothing. An object
 * belongs to one thread at a time.
 */
#ifndef PTP_VALIDATE_H
#define PTP_VALIDATE_H

#include "ptp_cfg/reflect.h"

VELA_BEGIN_C

typedef struct ptp_validation ptp_validation;

typedef enum ptp_violation_kind {
    PTP_VIOLATION_ORDER = 0,   /**< it names what does not exist, or belongs to another */
    PTP_VIOLATION_LIMIT = 1,   /**< more than the agent keeps */
    PTP_VIOLATION_PROFILE = 2, /**< the profile forbids it */
    PTP_VIOLATION_DAEMON = 3   /**< the agent's daemon has nothing that would do it */
} ptp_violation_kind;

/** One thing that is wrong. The texts are the validation's, until it is given another message or destroyed. */
typedef struct ptp_violation {
    size_t size; /**< set by the caller to sizeof(ptp_violation) */
    ptp_violation_kind kind;
    const char *object;    /**< "port 3 of clock 1"; empty for a setting of the whole element */
    const char *field;     /**< "default_data_set.clk_domain"; empty where the whole object is meant */
    const char *value;     /**< as asked: "0" */
    const char *allowed;   /**< "24 to 43" */
    const char *reason;    /**< why, and what to do */
    const char *reference; /**< clause of a standard, or empty */
    const char *rule;      /**< "g8275.1/domain", or empty */
    const char *text;      /**< all of it, in one line */
} ptp_violation;

/**
 * Begins with nothing asked.
 * @param profile  "default", "g8275.1" or "g8275.2": judge every clock by it; NULL: each by its own clk_profile
 * @param err      receives VELA_EINVAL (no such profile) or VELA_ENOMEM
 * @return NULL on failure
 */
VELA_API ptp_validation *ptp_validation_create(const char *profile, u_int32 *err);
/** NULL is ignored. */
VELA_API void ptp_validation_destroy(ptp_validation *validation);

/**
 * Adds a message to what is asked. One that cannot be taken is a violation, not an error.
 * @param handle   that the message belongs to, tracking state or not
 * @param message  stays the caller's
 * @param err      receives VELA_EINVAL (not the type of a message) or VELA_ENOMEM
 */
VELA_API void ptp_validation_add(ptp_validation *validation, vela_handle *handle, const ptp_cfg_type *type,
                                 void *message, u_int32 *err);

/** Number of violations in all that was added. */
VELA_API u_int32 ptp_validation_count(ptp_validation *validation, u_int32 *err);
/** Fills as much of `violation` as its size says; VELA_ENOENT when there is none at the index. */
VELA_API void ptp_validation_get(ptp_validation *validation, u_int32 index, ptp_violation *violation, u_int32 *err);

VELA_END_C

#endif
