/**
 * The library as a module: type registration, bundle handlers, diagnosis.
 */
#ifndef PTP_CFG_MODULE_H
#define PTP_CFG_MODULE_H

#include "velalib.h"

VELA_BEGIN_C

/**
 * Enters every type-information record of the library into a handle's type table. The operations call it by
 * themselves when they need it; records that are already there stay.
 * @param err  receives VELA_ENOMEM when a copy cannot be allocated (those entered before stay); not read on entry
 */
VELA_API void ptp_cfg_typeinfo_initialize(vela_handle *handle, u_int32 mem_class, u_int32 *err);

/** A printf-like function. */
typedef int (*ptp_cfg_print_fn)(const char *format, ...);

/** Prints the variants of every type: their number, used length and spare bytes. */
VELA_API void ptp_cfg_type_variant_dump(ptp_cfg_print_fn print);

/** Registers the module with the trace facility; loading the library does so. Safe to repeat, from any thread. */
VELA_API void vela_ptp_cfg_trace_init(void);

/**
 * Receives the bundles that a transport domain delivers. ptp_cfg_dispatch_bundle() gives their messages to handlers.
 * @param handle     handle to unmarshal with, as given to the transport's process call
 * @param bundle     bytes of the bundle, valid during the call
 * @param context    as given to the transport's process call
 */
typedef void (*ptp_cfg_bundle_handler)(vela_handle *handle, u_int32 mem_class, const u_int8 *bundle, u_int32 length,
                                       void *context);

/** The bundle handler registered last; NULL when there is none. */
VELA_API extern ptp_cfg_bundle_handler ptp_cfg_bundle_registered_handler;

/**
 * Registers a bundle handler with the four transport domains. Not locked: do it at start and at stop.
 * @return the handler registered before, or NULL
 */
VELA_API ptp_cfg_bundle_handler ptp_cfg_bundle_handler_register(ptp_cfg_bundle_handler handler);
/** Takes the handler back from the four domains. Returns the handler registered before. */
VELA_API ptp_cfg_bundle_handler ptp_cfg_bundle_handler_unregister(void);

VELA_END_C

#endif
