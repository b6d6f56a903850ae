/**
 * Operations of texts: `var_string`, a field of one pointer, and `char` arrays of a fixed size.
 *
 * A text's length stands in a companion field of its own, so every operation takes a count. The characters
 * are bytes: any of them may be 0. They come from the handle's allocator and are NUL-terminated in memory;
 * a text of count 0 is NULL.
 *
 * The rules of runtime.h hold: nothing happens when *err is not 0 on entry, and a failure is stored in *err
 * and in the handle's last error.
 */
#ifndef VELALIB_STRINGS_H
#define VELALIB_STRINGS_H

#include "velalib/handle.h"

VELA_BEGIN_C

struct vela_xml_document;

/* ---- var_string ----------------------------------------------------------------------------------------- */

/** The characters of a text, NULL when it is empty. A null `value` is VELA_ENOENT. */
VELA_API char *var_string_get(vela_handle *handle, u_int32 mem_class, const var_string *value, u_int32 *err);

/**
 * Replaces a text by a copy of `count` characters; the pointer's 8 bytes are announced to pre_write.
 * @param characters  may lie in the old text; ignored when count is 0
 * @param err         VELA_ENOMEM: no memory for the copy; VELA_EINVAL: a null argument. Nothing has changed then.
 */
VELA_API void var_string_set(vela_handle *handle, u_int32 mem_class, var_string *destination, const char *characters,
                             u_int32 count, u_int32 *err);

/** Replaces a text by a copy of another one of `count` characters; errors as var_string_set(). */
VELA_API void var_string_copy(vela_handle *handle, u_int32 mem_class, var_string *destination, const var_string *source,
                              u_int32 count, u_int32 *err);

/**
 * Frees the characters, if any.
 * @param free  non-zero: also clears the pointer, announced. Zero: leaves it, for an instance that is about to go
 */
VELA_API void var_string_destroy_internal(vela_handle *handle, u_int32 mem_class, var_string *value, u_int32 free);

/** Writes exactly `count` bytes, zeros for a NULL text. Too little room is VELA_EMSGSIZE, and nothing is written. */
VELA_API u_int32 var_string_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const var_string *value,
                                    u_int32 count, u_int32 room, u_int32 *err);

/**
 * Replaces a text by the next `count` bytes, without announcing it.
 * @param mode  passed on by the callers, unused
 * @param err   VELA_EMSGSIZE: fewer than `count` bytes are there; VELA_ENOMEM: no memory. The text is NULL then,
 *              because its length companion has been read before and may promise more characters than the old text had.
 */
VELA_API u_int32 var_string_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, var_string *value,
                                      u_int32 count, u_int32 room, u_int32 mode, u_int32 *err);

/** Bytes that a text takes on the wire: `count`, or 0 for a null `value`. */
VELA_API u_int32 var_string_len(vela_handle *handle, u_int32 mem_class, const var_string *value, u_int32 count);

/** Orders two texts up to their NUL; a NULL text is empty, a null argument before all. -1, 0 or 1. */
VELA_API int32 var_string_compare(const var_string *a, const var_string *b);
/** Orders two texts by all their bytes, then by length. -1, 0 or 1. */
VELA_API int32 var_string_compare_counted(const var_string *a, u_int32 count_a, const var_string *b, u_int32 count_b);
/** Hash of the characters up to their NUL, at most `count`; the seed for an empty text. Equal texts hash alike. */
VELA_API u_int32 var_string_hash(const var_string *value, u_int32 count, u_int32 seed);

/** Prints one line, LABEL@var_string:"TEXT", with the escapes of XML texts (below) and \" \n \r \t. */
VELA_API u_int32 var_string_print(vela_handle *handle, u_int32 mem_class, char *buffer, u_int32 indent,
                                  const char *label, const var_string *value, u_int32 count, u_int32 room,
                                  u_int32 *err);

/**
 * Renders a text as an element; all or nothing.
 *
 * Every byte survives: what XML cannot carry (most control characters, 0, 0x7F, bytes that are not UTF-8) is
 * written as \xHH with two hexadecimal digits, and a backslash as \\ .
 */
VELA_API u_int32 var_string_to_xml(vela_handle *handle, u_int32 mem_class, const char *name, char *buffer,
                                   const var_string *value, u_int32 count, u_int32 room, u_int8 state_flag,
                                   u_int32 *err);

/**
 * Reads a text and its length, whatever its size in XML; both are announced.
 * @param count  receives the number of characters
 * @param err    VELA_ENOENT: no such element; VELA_EINVAL: an unknown escape; VELA_ENOSPC: more than 255 characters.
 *               Nothing has changed then.
 */
VELA_API void var_string_from_xml(vela_handle *handle, u_int32 mem_class, const char *path,
                                  struct vela_xml_document *document, var_string *value, u_int8 *count, u_int32 *err,
                                  char *error_text, u_int32 error_room);

/* ---- char arrays ---------------------------------------------------------------------------------------- */
/* `count` is the size of the array. On the wire it is its bytes; as text it ends at its first NUL.             */

/** The array itself; a null `value` is VELA_ENOENT. */
VELA_API char *char_get(vela_handle *handle, u_int32 mem_class, char *value, u_int32 *err);
/** Copies up to `count` characters of a NUL-terminated text, announced, and zeros after them. VELA_ENOSPC: too long. */
VELA_API void char_set(vela_handle *handle, u_int32 mem_class, char *destination, const char *characters, u_int32 count,
                       u_int32 *err);
VELA_API u_int32 char_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const char *value, u_int32 count,
                              u_int32 room, u_int32 *err);
VELA_API u_int32 char_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, char *value,
                                u_int32 count, u_int32 room, u_int32 mode, u_int32 *err);
VELA_API u_int32 char_len(vela_handle *handle, u_int32 mem_class, const char *value, u_int32 count);
/** Orders two arrays by all their bytes. -1, 0 or 1. */
VELA_API int32 char_compare(const char *a, const char *b, u_int32 count);
VELA_API u_int32 char_hash(const char *value, u_int32 count, u_int32 seed);
VELA_API u_int32 char_print(vela_handle *handle, u_int32 mem_class, char *buffer, u_int32 indent, const char *label,
                            const char *value, u_int32 count, u_int32 room, u_int32 *err);
/** As var_string_to_xml(), without the zeros at the array's end. */
VELA_API u_int32 char_to_xml(vela_handle *handle, u_int32 mem_class, const char *name, char *buffer, const char *value,
                             u_int32 count, u_int32 room, u_int8 state_flag, u_int32 *err);
/** As var_string_from_xml(); VELA_ENOSPC when the text is longer than the array. */
VELA_API void char_from_xml(vela_handle *handle, u_int32 mem_class, const char *path,
                            struct vela_xml_document *document, char *value, u_int32 count, u_int32 *err,
                            char *error_text, u_int32 error_room);

VELA_END_C

#endif
