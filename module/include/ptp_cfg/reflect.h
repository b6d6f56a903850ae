/**
 * Reflection: what types and messages there are, what they are made of, and their operations under one
 * signature, so that generic code needs no list of its own.
 *
 * Descriptions are static and never freed. `size` members say how much of a structure the library filled;
 * new members are only ever appended.
 */
#ifndef PTP_CFG_REFLECT_H
#define PTP_CFG_REFLECT_H

#include "velalib.h"

VELA_BEGIN_C

/** An enumeration, structure or message of the library. */
typedef struct ptp_cfg_type ptp_cfg_type;

typedef enum ptp_cfg_type_kind {
    PTP_CFG_STRUCTURE = 0, /**< a record, or an array type, which is a record with an array field */
    PTP_CFG_ENUMERATION = 1,
    PTP_CFG_MESSAGE = 2
} ptp_cfg_type_kind;

typedef enum ptp_cfg_field_class {
    PTP_CFG_FIELD_UNSIGNED = 0,
    PTP_CFG_FIELD_SIGNED = 1,
    PTP_CFG_FIELD_BOOLEAN = 2,
    PTP_CFG_FIELD_OPAQUE = 3, /**< en_address, ip_address or vrf_info: a pointer to that type */
    PTP_CFG_FIELD_TEXT = 4,
    PTP_CFG_FIELD_ENUMERATION = 5,
    PTP_CFG_FIELD_STRUCTURE = 6
} ptp_cfg_field_class;

/** Describes a field of a structure, or a payload of a message. */
typedef struct ptp_cfg_field_description {
    size_t size;
    const char *name;
    const char *type_name;    /**< "u_int16", "ptp_clock_quality", ... */
    ptp_cfg_field_class kind; /**< of the field, or of its elements */
    const ptp_cfg_type *type; /**< of an enumeration or structure, else NULL */
    u_int32 capacity;         /**< elements of an array; 1 for a single value */
    u_int8 is_array;
    u_int8 is_read_only; /**< the length companion of a text, which follows the text */
    u_int8 since;        /**< first variant of the owner that has it */
    u_int8 element_size; /**< bytes in memory of a number or opaque value; 0 for others */
    u_int32 wire_width;  /**< bytes on the wire of one primitive value or enumeration; 0 for others */
    const char *doc;
    const char *unit; /**< "seconds" and so on, or "IPv4 address" of a number that is one, its first octet the most
                           significant; NULL where there is none */
} ptp_cfg_field_description;

/** A value of an enumeration. */
typedef struct ptp_cfg_literal {
    u_int32 number;
    const char *literal;
    const char *doc;
    u_int8 since; /**< first variant of the enumeration that has it */
} ptp_cfg_literal;

/**
 * The operations of a type under one signature; see the typed functions of the same name for what they do.
 * Operations that a kind does not have are NULL; so are to_xml, from_xml and from_document in a library without XML.
 */
typedef struct ptp_cfg_operations {
    size_t size;
    void *(*create)(vela_handle *handle, u_int32 mem_class);
    void (*destroy)(vela_handle *handle, u_int32 mem_class, void *instance);
    u_int32 (*instance_size)(vela_handle *handle); /**< the _sizeof operation; NULL for messages */
    u_int32 (*len)(vela_handle *handle, u_int32 mem_class, const void *instance);
    u_int32 (*marshal)(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *instance, u_int32 room,
                       u_int32 *err);
    /** Into an existing instance; NULL for messages, which have take and receive. */
    u_int32 (*unmarshal)(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, void *instance, u_int32 length,
                         u_int32 *err);
    int32 (*compare)(const void *a, const void *b);      /**< NULL for messages */
    u_int32 (*hash)(const void *instance, u_int32 seed); /**< NULL for messages */
    /** A deep duplicate by way of the handle's work buffer; NULL for messages and enumerations. */
    void *(*clone)(vela_handle *handle, u_int32 mem_class, const void *instance, u_int32 *err);
    /** Into an existing instance, which a failure destroys (*instance becomes NULL); NULL as clone. */
    void (*copy)(vela_handle *handle, u_int32 mem_class, const void *source, void **instance, u_int32 *err);
    u_int32 (*print)(vela_handle *handle, u_int32 mem_class, char *buffer, const void *instance, u_int32 room,
                     u_int32 *err);
    u_int32 (*to_xml)(vela_handle *handle, u_int32 mem_class, char *buffer, const void *instance, u_int32 room,
                      u_int32 *err);
    /** Reads "//TYPE" of a document into an existing instance; NULL for messages, which have from_document. */
    void (*from_xml)(vela_handle *handle, u_int32 mem_class, const char *path, vela_xml_document *document,
                     void *instance, u_int32 *err, char *error_text, u_int32 error_room);
    /** Messages only: creates the message from the payload elements of a document. */
    void *(*from_document)(vela_handle *handle, u_int32 mem_class, vela_xml_document *document, u_int32 *err,
                           char *error_text, u_int32 error_room);
    /**
     * Messages only: decodes without recording or delivering it. The message is the caller's, also a partly filled one
     * after a failure.
     */
    u_int32 (*unmarshal_only)(vela_handle *handle, u_int32 mem_class, void **message, const u_int8 *buffer,
                              u_int32 length, u_int32 *err);
    /** Messages only: decodes, records and delivers to the handler of that message, as ptp_cfg_dispatch() does. */
    u_int32 (*receive)(vela_handle *handle, u_int32 mem_class, void *context, void **message, const u_int8 *buffer,
                       u_int32 length, u_int32 *err);
    void *(*create_shallow)(vela_handle *handle, u_int32 mem_class); /**< messages only */
    /** Messages only: decodes and records for the caller, as ptp_cfg_receive() does; `consumed` is not NULL. */
    void *(*take)(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, u_int32 length, u_int32 *consumed,
                  u_int32 *err);
} ptp_cfg_operations;

/** Describes a type. */
typedef struct ptp_cfg_type_description {
    size_t size;
    ptp_cfg_type_kind kind;
    const char *name;       /**< "ptp_clock", "ptp_clock_state", "ptp_clock_cfg_message" */
    const char *short_name; /**< of a message "ptp_clock_cfg", of others the name */
    const char *doc;
    const u_int8 *luid; /**< 16 bytes */
    const char *luid_text;
    u_int8 newest_variant;
    u_int32 untracked_size; /**< bytes of an instance */
    u_int32 tracked_size;   /**< bytes of an instance with its state-flag block */
    u_int32 field_count;    /**< fields of a structure, payloads of a message */
    u_int32 literal_count;  /**< values of an enumeration */
    const ptp_cfg_operations *operations;
} ptp_cfg_type_description;

/** Number of types: structures, then enumerations, then messages. */
VELA_API u_int32 ptp_cfg_type_count(void);
/** The type at an index below the count, or NULL. */
VELA_API const ptp_cfg_type *ptp_cfg_type_at(u_int32 index);
/** Finds a type by name; a message also by its short name. NULL when there is none. */
VELA_API const ptp_cfg_type *ptp_cfg_type_find(const char *name);
/** Finds a type by its 16-byte identity. NULL when there is none. */
VELA_API const ptp_cfg_type *ptp_cfg_type_find_luid(const u_int8 *luid);

/** Fills `description`. */
VELA_API void ptp_cfg_type_describe(const ptp_cfg_type *type, ptp_cfg_type_description *description);
/** Fills `description` with field `index` of a structure or payload `index` of a message; 0 when there is none. */
VELA_API u_int32 ptp_cfg_field_describe(const ptp_cfg_type *type, u_int32 index,
                                        ptp_cfg_field_description *description);
/** Fills `literal` with value `index` of an enumeration; 0 when there is none. */
VELA_API u_int32 ptp_cfg_literal_describe(const ptp_cfg_type *type, u_int32 index, ptp_cfg_literal *literal);

/**
 * The storage of a field (element `element` of an array), as the typed _get returns it: a pointer to the
 * primitive, the embedded instance, or of a text its characters. Of a message: the payload.
 * @return NULL with VELA_ENOENT (no such field or element) or VELA_EEPOCH (not in the instance's variant)
 */
VELA_API void *ptp_cfg_field_get(const ptp_cfg_type *type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                                 void *instance, u_int32 element, u_int32 *err);
/**
 * The value of a number, truth value or enumeration; signed numbers are sign-extended to 64 bits. Of a message: its
 * primitive payload `index`. Of an enumeration that stands alone: its value, `index` and `element` are ignored.
 */
VELA_API u_int64 ptp_cfg_field_get_value(const ptp_cfg_type *type, u_int32 index, vela_handle *handle,
                                         u_int32 mem_class, void *instance, u_int32 element, u_int32 *err);
/**
 * Sets a number (its low bits), truth value or enumeration, also as ptp_cfg_field_get_value() describes. Errors as the
 * typed _set_value; VELA_EINVAL for other fields.
 */
VELA_API void ptp_cfg_field_set_value(const ptp_cfg_type *type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                                      void *instance, u_int32 element, u_int64 value, u_int32 *err);
/**
 * Sets a field from a value of its own type: an opaque primitive, a structure, or of a text `length` characters
 * (at most 255, else VELA_ENOSPC). `length` is ignored for the others.
 */
VELA_API void ptp_cfg_field_set(const ptp_cfg_type *type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                                void *instance, u_int32 element, const void *value, u_int32 length, u_int32 *err);
/** The state flag of a field, of an element of an array, or (element 0xFFFFFFFF) of an array as a whole. */
VELA_API u_int8 ptp_cfg_field_state_flag_get(const ptp_cfg_type *type, u_int32 index, vela_handle *handle,
                                             u_int32 mem_class, void *instance, u_int32 element, u_int32 *err);
VELA_API void ptp_cfg_field_state_flag_set(const ptp_cfg_type *type, u_int32 index, vela_handle *handle,
                                           u_int32 mem_class, void *instance, u_int32 element, u_int8 flag,
                                           u_int32 *err);

/** Length of a message's header and identity on the wire; its payloads follow. */
enum { PTP_CFG_MESSAGE_PREFIX = VELA_WIRE_MESSAGE_HEADER + VELA_WIRE_LUID };

/** The message that bytes hold, by the identity after their header. NULL when they are too short or none is known. */
VELA_API const ptp_cfg_type *ptp_cfg_message_identify(const u_int8 *bytes, u_int32 length);

/**
 * The role of the message that bytes hold. Channels that keep messages or spread them over subjects are given this
 * function, as `describe` of vela_channel_options.
 * @param name  receives the message's short name, "ptp_clock_cfg"; NULL when no message is known there
 * @return VELA_MESSAGE_UNKNOWN when no message is known there
 */
VELA_API vela_message_role ptp_cfg_message_describe(const u_int8 *bytes, u_int32 length, const char **name);

VELA_END_C

#endif
