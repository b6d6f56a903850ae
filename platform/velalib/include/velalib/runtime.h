/**
 * What generated record code asks of the runtime: errors, identity, variants, statistics, object references,
 * state tracking, wire primitives, messages, text and XML.
 *
 * Applications seldom call these; a product that brings a runtime of its own implements them.
 *
 * Rules of every operation here that takes `err`: when *err is not 0 on entry it does nothing and returns 0;
 * on failure it stores the code both in *err and in the handle's last error. `mem_class` is the caller's and
 * is passed on unchanged. Positions never pass the given room.
 */
#ifndef VELALIB_RUNTIME_H
#define VELALIB_RUNTIME_H

#include <stdio.h>

#include "velalib/handle.h"
#include "velalib/xml.h"

VELA_BEGIN_C

/* ---- error state --------------------------------------------------------------------------------------- */

/** Forgets the handle's last error. */
VELA_API void vela_clear_last_error(vela_handle *handle);
/** Records a code as the handle's last error. */
VELA_API void vela_store_err(vela_handle *handle, u_int32 code);
/** Records an epoch code (VELA_EEPOCH, VELA_EDOMAIN) as the handle's last error and stores it in *err. */
VELA_API void vela_store_epoch_err(vela_handle *handle, u_int32 code, u_int32 *err);

/** The function that failed, by parts of its name, and the field that it is about. */
typedef struct vela_failed_call {
    const char *type;      /**< "ptp_clock_quality", or NULL when `operation` is the whole name */
    const char *field;     /**< "clock_accuracy", or NULL */
    const char *operation; /**< "marshal"; one that begins with '_', such as "_set_value", follows the field's name */
} vela_failed_call;

struct vela_module;

/**
 * Notes that a call turned an error word into a code, for vela_error_text(); what was noted of that code before is
 * forgotten. To be followed by vela_name_failure() from the operation that was called.
 * @param reason  what was wrong, as half a sentence that stays; NULL: as the code says
 */
VELA_API void vela_note_failure(vela_handle *handle, u_int32 code, const char *reason);
/**
 * Says which call has failed with a code. Operations that call each other may each say it: the outermost names the
 * function, the innermost the field.
 * @param module  the module whose texts `call` and the reason are: once it is unloaded they are not looked at
 */
VELA_API void vela_name_failure(vela_handle *handle, u_int32 code, const struct vela_module *module,
                                const vela_failed_call *call);

/* ---- identity and variants ------------------------------------------------------------------------------ */

/** Registers a module's types with a handle; the runtime calls it when the type table lacks one. */
typedef void (*vela_typeinfo_initialize_fn)(vela_handle *handle, u_int32 mem_class, u_int32 *err);

/** Copies the 16-byte identity of an instance's type to `luid`; a null instance is VELA_EINVAL. */
VELA_API void vela_get_luid(vela_handle *handle, u_int32 mem_class, const void *instance, u_int8 *luid, u_int32 *err);
/**
 * The variant that a domain uses for a type: its override, else the newest that the record's variant table has
 * (0 when the record has no table). Not limited: a domain may name one above the newest.
 */
VELA_API int8 vela_domain_lookup_variant(vela_handle *handle, const vela_variant_domain *domain,
                                         const vela_type_info *record, u_int32 *err);
/** 1 when the domain allows the message whose record it is, else 0. */
VELA_API u_int32 vela_domain_lookup_message_ok(vela_handle *handle, const vela_variant_domain *domain,
                                               const vela_type_info *record, u_int32 *err);
/** An instance's effective variant; -1 for NULL. The two words are passed by the generated code and unused. */
VELA_API int8 vela_get_instance_variant(const void *instance, u_int32 structure, u_int32 by_kind);
/** An instance's flag byte; 0 for NULL. */
VELA_API u_int8 vela_get_instance_obj_flag(const void *instance);
/** Brings an instance to the variant that its record demands before a store. This runtime changes nothing; 0. */
VELA_API u_int32 velalib_adjust_variant(vela_handle *handle, u_int32 mem_class, void *instance,
                                        const vela_type_info *record, int32 newest, u_int32 *err);
/**
 * Merges a module's variant table into a record of the handle's type table. A newly inserted copy in shared form
 * receives a variant table of its own, with counters that start at 0 and as long-lived as the handle (without
 * memory it keeps the module's, and the handle's last error is VELA_ENOMEM). Any other record is left alone, and so are
 * those of shared types.
 */
VELA_API void vela_update_variant_info(vela_handle *handle, u_int32 mem_class, vela_type_info *table_record,
                                       const vela_type_info *static_record, u_int32 inserted);
/**
 * The handle's copy of a record. Calls `initialize` when the table does not hold the type yet.
 * @return the copy, or the given record when there is no memory for one
 */
VELA_API const vela_type_info *vela_type_info_ptr_get(vela_handle *handle, u_int32 mem_class,
                                                      const vela_type_info *record,
                                                      vela_typeinfo_initialize_fn initialize);
/** The record that an instance refers to. */
VELA_API const vela_type_info *vela_get_manifested_type_info(const void *instance);
/** Where an instance keeps the pointer to its record. */
VELA_API const vela_type_info **vela_get_manifested_type_info_ptr_mem(void *instance);

/** A loaded module; the runtime keeps a tail queue of them. */
typedef struct vela_module {
    const char *name;
    vela_type_info *const *types; /**< ends in a null pointer */
    struct vela_module *next;
    struct vela_module **previous_next; /**< where the pointer to this module is kept; NULL when not linked */
} vela_module;

/** Head of the list of loaded modules. */
typedef struct vela_module_root {
    u_int32 count;
    vela_module *first;
    vela_module **last_next; /**< where the next module is to be linked */
} vela_module_root;

VELA_API extern vela_module_root vela_module_tot_root;

/**
 * Hold the list: for a module that enters or leaves it, and for who walks it while other threads may load and unload
 * modules. The same thread may hold it several times. Call nothing meanwhile that loads or unloads in another thread.
 */
VELA_API void vela_modules_lock(void);
VELA_API void vela_modules_unlock(void);

/* ---- statistics ----------------------------------------------------------------------------------------- */

/**
 * Count an instance in a row of a variant table, after the handle's pre_write_counter: by an atomic increment
 * when the record is not shared, else by a plain one.
 */
VELA_API void velalib_type_stats_create_object(vela_handle *handle, u_int32 mem_class, const vela_type_info *record,
                                               vela_variant_row *row, u_int32 *err);
VELA_API void velalib_type_stats_destroy_object(vela_handle *handle, u_int32 mem_class, const vela_type_info *record,
                                                vela_variant_row *row, u_int32 *err);

/* ---- object identifiers and references ------------------------------------------------------------------ */

/**
 * Asks to remove an instance's object-identifier mapping.
 * @return 0 while references to it remain (the runtime frees the instance with the last one), else 1
 */
VELA_API u_int32 vela_request_oid_mapping_destroy(vela_handle *handle, u_int32 mem_class, void *instance, u_int32 *err);
/** Drops what the runtime keeps for an instance (its state-tracking offset); no entry is no error. */
VELA_API void vela_hd_mapping_destroy(vela_handle *handle, u_int32 mem_class, void *instance, u_int32 *err);
/** Changes the reference count of an object: `increment` 1 adds a reference, 0 releases one. */
VELA_API void velalib_lookup_and_update_oid_ref_count(vela_handle *handle, u_int32 mem_class, void *reference,
                                                      u_int32 increment, u_int32 *err);

/* ---- state tracking ------------------------------------------------------------------------------------- */

/** The distance from an instance's start to its state-flag block, kept for instances with flag 0x40; else 0. */
VELA_API int64_t velalib_get_sttr_offset(vela_handle *handle, u_int32 mem_class, const void *instance);
/** Keeps that distance and sets flag 0x40, announced to pre_write. Without memory the last error is VELA_ENOMEM. */
VELA_API void velalib_update_sttr_offset(vela_handle *handle, u_int32 mem_class, void *instance, int64_t offset);

/* ---- wire ----------------------------------------------------------------------------------------------- */
/* Network byte order. Each returns the bytes written or read: its width, or 0 with VELA_EMSGSIZE when the  */
/* room is less than that; nothing is stored then.                                                              */

/** Widths of the items that frame an instance, and of a message's header and identity. */
enum {
    VELA_WIRE_VARIANT = 1,
    VELA_WIRE_OBJECT_FLAG = 1,
    VELA_WIRE_EXTRA_DATA = 9,
    VELA_WIRE_JUMP = 4,
    VELA_WIRE_MESSAGE_HEADER = 27,
    VELA_WIRE_LUID = 16
};

VELA_API u_int32 _vela_instance_variant_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, int8 variant,
                                                u_int32 room, u_int32 *err);
VELA_API u_int32 _vela_instance_variant_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer,
                                                  int8 *variant, u_int32 room, u_int32 *err);
VELA_API u_int32 _vela_instance_obj_flag_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, u_int8 flag,
                                                 u_int32 room, u_int32 *err);
VELA_API u_int32 _vela_instance_obj_flag_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer,
                                                   u_int8 *flag, u_int32 room, u_int32 *err);
VELA_API u_int32 _vela_instance_ra_data_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, u_int8 kind,
                                                u_int64 data, u_int32 room, u_int32 *err);
VELA_API u_int32 _vela_instance_ra_data_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer,
                                                  u_int8 *kind, u_int64 *data, u_int32 room, u_int32 *err);
/** The jump counts the bytes from its own first byte to the end of the instance's encoding. */
VELA_API u_int32 _vela_variant_jump_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, u_int32 jump,
                                            u_int32 room, u_int32 *err);
VELA_API u_int32 _vela_variant_jump_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer,
                                              u_int32 *jump, u_int32 room, u_int32 *err);

/** Tag of a message header. */
#define VELA_MESSAGE_TAG 0xBCu

/** A message's header as it stands in memory, 16 bytes. */
typedef struct vela_message_header {
    u_int8 tag;        /**< VELA_MESSAGE_TAG */
    u_int8 address[6]; /**< all 0xFF */
    u_int8 tracked;    /**< 1 when the message was created under a tracking handle */
    u_int32 word;      /**< the handle's msg_header_word */
    u_int32 length;    /**< bytes of the whole message on the wire */
} vela_message_header;

/** 27 bytes: tag, address, tracked, word (4), length (4), eleven zero bytes. */
VELA_API u_int32 _vela_message_header_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer,
                                              const vela_message_header *header, u_int32 room, u_int32 *err);
/** A tag other than VELA_MESSAGE_TAG is VELA_EINVAL: nothing is stored and 0 returned. */
VELA_API u_int32 _vela_message_header_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer,
                                                vela_message_header *header, u_int32 room, u_int32 *err);

/* ---- messages ------------------------------------------------------------------------------------------- */

/**
 * Offers a message to the open bundle.
 * @return non-zero when the bundle takes it; 0 with *err set when it does not
 */
VELA_API u_int32 bundle_message_validate_add(vela_handle *handle, u_int32 mem_class, const u_int8 *luid,
                                             const char *display_name, u_int32 *err);
/** Counts a marshalled message into the open bundle; 0 with *err set when it was never offered, else non-zero. */
VELA_API u_int32 bundle_message_increment_count(vela_handle *handle, const u_int8 *luid, u_int32 *err);

/** Non-zero while received messages are recorded. */
VELA_API u_int32 velalib_msg_recorder_get_state(void);
/** The stream that records go to; may be NULL. */
VELA_API FILE *velalib_msg_recorder_get_handle(void);
/** Switches recording on with a stream that the caller owns (may be NULL), or off. Not locked: do it at start. */
VELA_API void velalib_msg_recorder_set(u_int32 state, FILE *stream);

/**
 * Messages of one type that were received while recording was on, and are not in the stream. A record is XML of at
 * most 4096 characters, and some messages at full width are longer; vela_recorder.h records those, too.
 */
typedef struct velalib_msg_recorder_skipped {
    u_int8 luid[16]; /**< identity of the message type */
    char name[76];   /**< its name, for example "ptp_clock_cfg" */
    /** Why the last of them was skipped: VELA_EMSGSIZE it is too long, VELA_ENOENT there was no stream, VELA_ENOSYS the
     *  library was built without XML, or the errno of a failed write. */
    u_int32 last_error;
    u_int64 count;
} velalib_msg_recorder_skipped;

/** Counts a message that is not recorded, of the type with this identity and name. Called by the receive path. */
VELA_API void velalib_msg_recorder_skip(const u_int8 *luid, const char *name, u_int32 err);
/** Number of messages that were not recorded since the program began or they were cleared. */
VELA_API u_int64 velalib_msg_recorder_skipped_total(void);
/**
 * Reads what was skipped of a message type, in the order in which types were skipped first:
 *
 *     for (u_int32 i = 0; velalib_msg_recorder_skipped_get(i, &row) != 0; ++i) report(row.name, row.count);
 *
 * All four calls may come from any thread. The first 256 types have a row, later ones are in the total only.
 * @return 1, or 0 with *row unchanged when fewer types were skipped
 */
VELA_API u_int32 velalib_msg_recorder_skipped_get(u_int32 index, velalib_msg_recorder_skipped *row);
/** Starts to count anew. */
VELA_API void velalib_msg_recorder_skipped_clear(void);

/** Non-zero when failures to send are expected and are to be traced at debug level only. */
VELA_API u_int32 velalib_suppress_messages_enabled(void);
VELA_API void velalib_suppress_messages_set(u_int32 enabled);

/** 32-bit non-cryptographic hash; a null `data` or a length below 1 gives 0. */
VELA_API u_int32 SuperFastHash(const void *data, int32 length, u_int32 seed);

/* ---- text ----------------------------------------------------------------------------------------------- */
/* No terminator is written inside a text: fill the buffer with blanks and use the count that comes back.       */

/** Writes `depth` blanks; what does not fit is left out with VELA_EMSGSIZE. Returns the characters written. */
VELA_API u_int32 vela_print_space(vela_handle *handle, u_int32 mem_class, char *buffer, u_int32 depth, u_int32 room,
                                  u_int32 *err);
/**
 * Formats into a buffer of `room` characters, never beyond them and without a terminator.
 * @return characters written; a text that does not fit is cut there, with VELA_EMSGSIZE
 */
VELA_API u_int32 vela_snprintf(vela_handle *handle, u_int32 mem_class, char *buffer, u_int32 room, u_int32 *err,
                               const char *format, ...) VELA_PRINTF(6, 7);

/* ---- XML ------------------------------------------------------------------------------------------------ */
/* Writers return the characters written. What does not fit is VELA_EMSGSIZE, and nothing of it is written.     */

/** Opens an element; a state flag other than 0 becomes the attribute state="N". */
VELA_API u_int32 start_tag(vela_handle *handle, u_int32 mem_class, char *buffer, const char *name, u_int32 room,
                           u_int8 state_flag, u_int32 *err);
/** Opens an element with the current UTC time as attribute time="YYYY-MM-DDThh:mm:ss.nnnnnnnnnZ". */
VELA_API u_int32 start_tag_timestamp(vela_handle *handle, u_int32 mem_class, char *buffer, const char *name,
                                     u_int32 room, u_int32 *err);
/** Closes an element. Acts also when *err is already set, so that a cut document stays well formed if it can. */
VELA_API u_int32 end_tag(vela_handle *handle, u_int32 mem_class, char *buffer, const char *name, u_int32 room,
                         u_int32 *err);
/** Copies a prepared empty-element text of `length` characters. */
VELA_API u_int32 xml_enum_print(vela_handle *handle, u_int32 mem_class, char *buffer, const char *text, u_int32 room,
                                u_int32 length, u_int32 *err);

/*
 * Paths: "//NAME" is the first element of that name in the document, "/NAME" the root; each further "/NAME" or
 * "/NAME[n]" is a child of the element before it, the first or the n-th of its name. Any other form is taken as
 * a general XPath expression, at the price of one. Asking in document order costs a constant time per element.
 */

/**
 * Reads the text of the element that a path names ("//ptp_clock/modify", "//list/entry[3]").
 * @param value  receives at most size - 1 characters and a NUL
 * @param flags  0
 * @return 0; VELA_ENOENT when there is no such element; VELA_ENOSPC when the text is longer than the room; VELA_EINVAL
 *         for a path that is none; VELA_ENOMEM without memory for a general expression
 */
VELA_API u_int32 xml_get_element_value(vela_xml_document *document, const char *path, char *value, u_int32 size,
                                       u_int32 flags);
/**
 * Counts the elements that a path names: of "//NAME" all in the document, of a step without [n] all children of
 * that name. Returns 0, VELA_ENOMEM, or VELA_EINVAL for a path that is none.
 */
VELA_API u_int32 xml_get_element_nodecount(vela_xml_document *document, const char *path, u_int32 *count);
/**
 * The same text in full: a NUL-terminated string that belongs to the document. Returns 0, VELA_ENOENT, VELA_ENOMEM or
 * VELA_EINVAL.
 */
VELA_API u_int32 xml_get_element_text(vela_xml_document *document, const char *path, const char **text);

/*
 * Elements by number, for a reader that goes down a document step by step: what a path of the steps finds, without
 * parsing paths. Numbers are a document's own, 0 is no element. A library that is to work with another runtime, too,
 * does without these calls.
 */

/**
 * Finds the element that a path of any form names; of several the first in the document.
 * @return 0; VELA_ENOENT when there is no such element; VELA_EINVAL for a path that is none; VELA_ENOMEM without memory
 *         for a general expression
 */
VELA_API u_int32 xml_find_element(vela_xml_document *document, const char *path, u_int32 *element);
/** The first child of an element; 0 when it has none. */
VELA_API u_int32 xml_first_child(const vela_xml_document *document, u_int32 element);
/**
 * Finds the first child of a name. Each name may be asked for once, in any order; in document order it costs a constant
 * time.
 * @param fresh  begins as the parent's first child; the runtime's from then on
 */
VELA_API u_int32 xml_find_child(const vela_xml_document *document, u_int32 *fresh, const char *name);
/** The name of an element that no sibling follows; NULL for any other. */
VELA_API const char *xml_last_name(const vela_xml_document *document, u_int32 element);
/** Finds the next sibling of an element's own name. @param fresh  that of xml_find_child() */
VELA_API u_int32 xml_find_next(const vela_xml_document *document, u_int32 *fresh, u_int32 element);
/**
 * Lets the very next read of a value or text, if it is by this path (the pointer, not the characters), find an element
 * without a search; with element 0, none. Must be followed by that read, whose path is the name to be shown of it.
 */
VELA_API void xml_select_element(vela_xml_document *document, const char *path, u_int32 element);

/* Reading by rules, which looks at all that is there. */

/** The rules that a document was parsed for: VELA_XML_..., 0 for plain reading. */
VELA_API u_int32 xml_get_rules(const vela_xml_document *document);
/** The sibling behind an element, whatever its name; 0 when it is the last. */
VELA_API u_int32 xml_next_sibling(const vela_xml_document *document, u_int32 element);
VELA_API const char *xml_element_name(const vela_xml_document *document, u_int32 element);
/** What stands in an element itself, "" for nothing. */
VELA_API const char *xml_element_text(const vela_xml_document *document, u_int32 element);
/**
 * Reads an attribute of an element; documents for plain reading have none. @param index  from 0
 * @return 1, or 0 when the element has fewer
 */
VELA_API u_int32 xml_get_attribute(const vela_xml_document *document, u_int32 element, u_int32 index, const char **name,
                                   const char **value);
/**
 * Compares a text with the forms of a primitive type's values.
 * @param reason  receives what is wrong
 * @return 0; VELA_EINVAL; VELA_ENOSPC for a var_string that is too long
 */
VELA_API u_int32 xml_check_value(const char *type_name, const char *text, char *reason, u_int32 room);
/**
 * Tells the document's on_fault of a fault at an element, and explains the first in `error_text`.
 * @param err  its code goes here if it is the first (0 before), or VELA_ENOMEM without memory
 * @return non-zero to go on
 */
VELA_API u_int32 xml_tell_fault(vela_xml_document *document, u_int32 element, u_int32 code, const char *reason,
                                char *error_text, u_int32 error_room, u_int32 *err);

VELA_END_C

#endif
