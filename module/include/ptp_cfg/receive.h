/**
 * Receiving: from bytes of any message to the message, or to who wants it.
 *
 *     ptp_cfg_receive()          gives the message to the caller
 *     ptp_cfg_dispatch()         gives it to the application's handler of that message
 *     ptp_cfg_dispatch_bundle()  gives each message of a bundle to its handler, or all to one receiver
 *
 * One rule of ownership holds for all three. Who is given a message owns it and destroys it, also a handler that then
 * stores an error. Until then it is the call's: when decoding fails, or nobody is there to take the message, everything
 * that was made is destroyed before the call returns. So bytes from a peer, whatever they are, leave nothing behind.
 *
 * All three record the message, when recording is on, before anyone is given it, and none compares it with the handle's
 * domain: that forbids sending only. Decoding goes on in the caller's thread and with its handle alone.
 *
 * The typed <message>_unmarshal() and <message>_unmarshal_only() are the parts that these calls are made of. They
 * destroy nothing: their documentation says what then remains, and whose it is.
 */
#ifndef PTP_CFG_RECEIVE_H
#define PTP_CFG_RECEIVE_H

#include "ptp_cfg/reflect.h"

VELA_BEGIN_C

/**
 * Receives a message of whatever type, for the caller.
 * @param mem_class  class that the message's memory is allocated under
 * @param type       NULL, or receives the message's type, also of one that cannot be decoded; NULL when it is unknown
 * @param bytes      begin with the message; more may follow
 * @param length     bytes at `bytes`
 * @param consumed   NULL, or receives how many of them the message took, also on failure
 * @param err        error word; set on entry: nothing is done. Receives VELA_EMSGSIZE when the bytes end too early,
 *                   VELA_EINVAL when no message has their identity or their header is none, VELA_ENOMEM without memory
 *                   or where nothing is left for the payload
 * @return the message, which the caller destroys with ptp_cfg_message_destroy() or its typed destroy; NULL on failure
 */
VELA_API void *ptp_cfg_receive(vela_handle *handle, u_int32 mem_class, const ptp_cfg_type **type, const u_int8 *bytes,
                               u_int32 length, u_int32 *consumed, u_int32 *err);

/**
 * Destroys a message of whatever type, with the payload that it still holds. NULL is ignored.
 * @param mem_class  class that the memory is freed under
 * @param type       of the message; may be NULL when `message` is
 */
VELA_API void ptp_cfg_message_destroy(vela_handle *handle, u_int32 mem_class, const ptp_cfg_type *type, void *message);

/**
 * Receives a message of whatever type and gives it to the application's ptp_cfg_<message>_handler(), which then owns
 * it. Without a handler, or when decoding fails, everything that was made is destroyed.
 * @param context  passed on to the handler
 * @param message  NULL, or receives, before the handler is called, which message it is given. It is the handler's, who
 *                 may have destroyed it by the time this call returns: compare it, do not destroy it. NULL when no
 *                 handler was called
 * @param type     as in ptp_cfg_receive()
 * @param err      error word; set on entry: nothing is done. Receives what ptp_cfg_receive() stores, VELA_ENOSYS when
 *                 the application has no handler of the message, or what the handler stores. With `message` not NULL
 *                 afterwards the error is the handler's
 * @return bytes consumed, at most `length`
 */
VELA_API u_int32 ptp_cfg_dispatch(vela_handle *handle, u_int32 mem_class, void *context, void **message,
                                  const ptp_cfg_type **type, const u_int8 *bytes, u_int32 length, u_int32 *err);

/**
 * Is given messages of whatever type, each of which it then owns and destroys.
 * @param type  of the message, never NULL
 * @param err   0 on entry; an error stored there is reported as that of this message
 */
typedef void (*ptp_cfg_receiver)(vela_handle *handle, u_int32 mem_class, void *context, const ptp_cfg_type *type,
                                 void *message, u_int32 *err);

/** What went wrong at one place of a bundle. */
typedef struct ptp_cfg_bundle_fault {
    u_int32 err;              /**< 0: nothing */
    u_int32 index;            /**< position among the bundle's messages, from 0 */
    u_int32 offset;           /**< of the place in the bundle, in bytes */
    const ptp_cfg_type *type; /**< of the message; NULL when none was recognised */
    const char *reason;       /**< static text that explains err; NULL without one */
} ptp_cfg_bundle_fault;

/** What became of a bundle. */
typedef struct ptp_cfg_bundle_report {
    u_int32 messages;           /**< places that were walked through */
    u_int32 taken;              /**< messages that a handler or the receiver was given */
    u_int32 failed;             /**< places with an error, that of a handler or receiver included */
    ptp_cfg_bundle_fault first; /**< the first of them */
} ptp_cfg_bundle_report;

/**
 * Walks through a bundle and gives each message to the application's handler of it, or all of them to one receiver. A
 * single message reads as a bundle of one, so that this is all that a ptp_cfg_bundle_handler has to call.
 *
 * A message that fails, for whatever reason, does not keep those after it from being delivered, each with an error word
 * of 0. Where the bundle's own lengths are wrong, nothing behind can be placed: that place is the last.
 * @param receiver  NULL: the application's handlers
 * @param context   passed on to handlers or receiver
 * @param bytes     the bundle, all of it
 * @param report    NULL, or receives what became of the bundle
 * @param err       error word; set on entry: nothing is done. Receives the error of the first place that failed;
 *                  VELA_EMSGSIZE or VELA_EINVAL when the bytes are neither bundle nor message; VELA_ENOSYS when the
 *                  runtime does not read bundles
 * @return messages that were taken, as in the report
 */
VELA_API u_int32 ptp_cfg_dispatch_bundle(vela_handle *handle, u_int32 mem_class, ptp_cfg_receiver receiver,
                                         void *context, const u_int8 *bytes, u_int32 length,
                                         ptp_cfg_bundle_report *report, u_int32 *err);

VELA_END_C

#endif
