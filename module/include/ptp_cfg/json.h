/**
 * JSON: any structure, enumeration or message as text, and back.
 *
 *     {"ptp_clock_cfg": {"ptp_clock": {"modify": true, "clk_version": "VELA_PTP_VERSION_2", ...}}}
 *
 * A message is an object whose one member is named after it and holds its payloads by the names of their types. A
 * structure is an object with a member for each field, an array a JSON array. What a field holds:
 *
 *     numbers of up to 32 bits    24. One that is an IPv4 address: "192.0.2.1"; its number is read as well
 *     numbers of 64 bits          "18446744073709551615", which others would round; a number is read as well
 *     vela_boolean                true or false
 *     enumerations                "VELA_PTP_VERSION_2"; the number of a value that has no literal. Numbers are read
 *                                 for all values
 *     structures of bytes alone   "AA-BB-CC-FF-FE-00-03-30", as an identity is; an object is read as well
 *     en_address                  "00:1b:19:00:00:01"; - in place of : is read as well
 *     ip_address, vrf_info        "192.0.2.1", "fe80::1%3", "" for none; "1:254:1:1": as in XML (velalib/xml.h)
 *     var_string                  a string; {"$bytes": "41ff"} for bytes that are not UTF-8, or have a NUL among them
 *
 * The length of a text has no member. A field that the instance's variant does not have is not there.
 *
 * Reading takes RFC 8259's JSON in UTF-8 without a byte order mark, members in any order. It is strict: unknown and
 * repeated members, values of another type or out of range, and anything behind the text's value are errors. What is
 * absent keeps its value; of an array these are the elements behind those that are there. Nothing is allocated but the
 * instance and its texts, and the nesting of a text does not matter: only what the type has is followed.
 */
#ifndef PTP_CFG_JSON_H
#define PTP_CFG_JSON_H

#include "ptp_cfg/reflect.h"

VELA_BEGIN_C

/** How JSON is written and read, to be combined. */
enum {
    /**
     * State flags that are not 0 stand in a member "$state" of their structure, by field; of an array as a list, its own
     * flag first. Reading stores them on an instance that is tracked. Without this option a "$state" is unknown.
     */
    PTP_CFG_JSON_STATE_FLAGS = 1,
    /**
     * A structure that is not of its newest variant begins with a member "$variant", and such an enumeration is an
     * object with "$variant" and "value". Reading gives instances that variant. Without this option it is unknown.
     */
    PTP_CFG_JSON_VARIANTS = 2,
    /** Written: a message is "ptp_cfg:NAME", as those want it who know it by the YANG module. Always read. */
    PTP_CFG_JSON_QUALIFIED = 4,
    /** Read: members that the type does not know are skipped, and payloads may be absent. */
    PTP_CFG_JSON_SKIP_UNKNOWN = 8,
    /** Read: each field must be there, and each element of an array. */
    PTP_CFG_JSON_ALL_FIELDS = 16
};

/** What is wrong in a text. All pointers are valid during the call that they are given to. */
typedef struct ptp_cfg_json_fault {
    size_t size;
    /** What the error word becomes: VELA_EINVAL, VELA_ENOSPC for too long a text, VELA_EEPOCH for what is too new. */
    u_int32 code;
    u_int32 line;       /**< from 1 */
    u_int32 column;     /**< from 1, in bytes */
    size_t offset;      /**< of the place in the text, in bytes */
    const char *path;   /**< as in ptp_clock_cfg/ptp_clock/clk_id/ptp_clk_id[3], where arrays count from 0; may be "" */
    const char *reason; /**< what is wrong and what to do, without a line feed */
} ptp_cfg_json_fault;

/** Told of the fault at which reading ends. */
typedef void (*ptp_cfg_json_fault_fn)(void *cookie, const ptp_cfg_json_fault *fault);

/** Clear it, set `size`, then what is wanted. NULL in its place is all zero. */
typedef struct ptp_cfg_json_options {
    size_t size;                    /**< sizeof(ptp_cfg_json_options) */
    u_int32 rules;                  /**< PTP_CFG_JSON_... */
    u_int32 indent;                 /**< written: blanks for each level of nesting, at most 16; 0: all in one line */
    ptp_cfg_json_fault_fn on_fault; /**< NULL: the error text alone tells */
    void *cookie;                   /**< first argument of on_fault */
} ptp_cfg_json_options;

/**
 * Writes an instance, without a terminating NUL or line feed.
 * @param instance  of the type, not NULL; a message's payload may be absent, and is null then
 * @param err       error word; set on entry: nothing is done. VELA_EINVAL for a NULL instance or unknown options,
 *                  VELA_EMSGSIZE when the room does not hold the text
 * @return characters that the whole text needs, also when they are more than `room`; 0 after other errors
 */
VELA_API u_int32 ptp_cfg_to_json(vela_handle *handle, u_int32 mem_class, const ptp_cfg_type *type, const void *instance,
                                 char *buffer, u_int32 room, const ptp_cfg_json_options *options, u_int32 *err);

/**
 * Reads an instance from a text, which is not changed and needs no NUL at its end.
 * @param instance    of the type, which what is in the text goes into; NULL: a new one is created
 * @param err         error word; set on entry: nothing is done. A fault's code, or VELA_ENOMEM. After any error an
 *                    instance that was given is as it was before, and one that was created is destroyed again
 * @param error_text  NULL, or receives the fault as "line 3, column 4: PATH: REASON", ended by a NUL
 * @return the instance, a new one of the caller's own; NULL after an error
 */
VELA_API void *ptp_cfg_from_json(vela_handle *handle, u_int32 mem_class, const ptp_cfg_type *type, void *instance,
                                 const char *text, size_t length, const ptp_cfg_json_options *options, u_int32 *err,
                                 char *error_text, u_int32 error_room);

/**
 * The message that a text holds, by the name of its first member. NULL when there is none of that name. The text need
 * be no more than its begin.
 */
VELA_API const ptp_cfg_type *ptp_cfg_json_identify(const char *text, size_t length);

VELA_END_C

#endif
