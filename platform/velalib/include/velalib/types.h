/**
 * Primitive types of the velalib runtime.
 *
 * Every field of a record is one of these, an enumeration, or another record. All of them are complete
 * types with a fixed size, so that C code can declare them without calling the library.
 */
#ifndef VELALIB_TYPES_H
#define VELALIB_TYPES_H

#include <stddef.h>
#include <stdint.h>

#if UINTPTR_MAX != UINT64_MAX
#error "velalib: instances are laid out for pointers of 64 bits; build for a 64-bit processor"
#endif

#ifdef __cplusplus
#define VELA_BEGIN_C extern "C" {
#define VELA_END_C }
#else
#define VELA_BEGIN_C
#define VELA_END_C
#endif

/** Marks a function or an object that a shared library exports. */
#define VELA_API __attribute__((visibility("default")))

/** Lets the compiler check printf-like arguments. */
#define VELA_PRINTF(format_at, first_at) __attribute__((format(printf, format_at, first_at)))

typedef uint8_t u_int8;
typedef uint16_t u_int16;
typedef uint32_t u_int32;
typedef uint64_t u_int64;
typedef int8_t int8;
typedef int16_t int16;
typedef int32_t int32;

/** A truth value, 4 bytes in memory and one byte (0 or 1) on the wire. Any non-zero value is true. */
typedef u_int32 vela_boolean;

/** A NUL-terminated text that its record owns, or NULL for an empty one. */
typedef char *var_string;

/** Values of ip_address::family. Any other value travels unchanged and prints in raw form. */
enum { VELA_IP_NONE = 0, VELA_IP_V4 = 4, VELA_IP_V6 = 6 };

#include "velalib/primitive_types.h"

/** What a message is to those who carry it. */
typedef enum vela_message_role {
    VELA_MESSAGE_UNKNOWN = 0,
    VELA_MESSAGE_COMMAND = 1, /**< to the daemon: is to be followed, so none may be left out */
    VELA_MESSAGE_EVENT = 2,   /**< from the daemon: something happened, which no later message says again */
    VELA_MESSAGE_REPORT = 3   /**< from the daemon: how things are; a later one replaces it */
} vela_message_role;

/** Error words that the library and its runtime store. The numbers are Linux errno values where one fits. */
enum {
    VELA_OK = 0,
    VELA_ENOENT = 2,   /**< an element or index that must exist is absent */
    VELA_ENOMEM = 12,  /**< no memory, or no buffer (a length below 1) */
    VELA_EINVAL = 22,  /**< a null instance, a bad argument, an untracked instance where tracking is needed */
    VELA_ENOSPC = 28,  /**< a text does not fit its destination */
    VELA_ENOSYS = 38,  /**< a message arrived for which the application has no handler */
    VELA_EEPOCH = 43,  /**< the instance's or the domain's variant does not have that field or value */
    VELA_EDOMAIN = 52, /**< the current domain does not allow this message */
    VELA_EMSGSIZE = 90 /**< a buffer is too short to write to, or ends too early to read from */
};

#endif
