/**
 * What an error word means, and which call set it.
 *
 * An error word belongs to the application and is sticky: the first call that fails sets it, and all that follow do
 * nothing until the application sets it back to 0. The handle therefore remembers, for each code, the last call that
 * turned a word from 0 into it, with the field that the failure was about. Nothing needs to be cleared: a word that is
 * set is that of the call which is remembered, unless another word of the same handle received the same code since, or
 * the application stored the code by itself.
 *
 *     u_int32 err = 0;
 *     ... any number of calls ...
 *     if (err != 0) {
 *         char text[256];
 *         vela_error_text(handle, err, text, sizeof text);
 *         syslog(LOG_ERR, "%s", text);
 *     }
 *
 * gives, for example,
 *
 *     43 (VELA_EEPOCH): ptp_clock_quality_clock_accuracy_set_value: field clock_accuracy: the instance's variant does
 *     not have this value
 *
 * on one line. The calls that did nothing because the word was set are in the trace ring at debug level.
 */
#ifndef VELALIB_ERROR_TEXT_H
#define VELALIB_ERROR_TEXT_H

#include "velalib/handle.h"

VELA_BEGIN_C

/** The name of a code, for example "VELA_EEPOCH"; NULL for a code that the library does not set by itself. */
VELA_API const char *vela_error_name(u_int32 code);

/**
 * Describes an error word, as the comment above says. The handle must still be there; the module whose call failed need
 * not, but then the text does not name the call.
 * @param handle  NULL: what the code means, without a call
 * @param code    the error word: the application's own, or the handle's chained_err; 0 is "0 (no error)"
 * @param buffer  receives at most room - 1 characters and a NUL, one line without a line end; may be NULL when `room`
 *                is 0
 * @return characters that the whole text needs, as snprintf counts
 */
VELA_API u_int32 vela_error_text(const vela_handle *handle, u_int32 code, char *buffer, u_int32 room);

VELA_END_C

#endif
