/**
 * Bundles: many marshalled messages in one unit of transport.
 *
 * Packing. While a bundle is open on a handle, every message that is marshalled with that handle is offered to it:
 *
 *     vela_bundle *bundle = vela_bundle_open(handle, mem_class, 65536, &err);
 *     vela_bundle_add(handle, mem_class, operations->marshal, message, &err);      // as often as needed
 *     vela_bundle_close(handle, &bytes, &length, &err);
 *     vela_channel_send(channel, bytes, length, &err);
 *     vela_bundle_destroy(bundle);
 *
 * vela_bundle_add() is short for asking the bundle for its free space, marshalling into it with the typed function
 * and committing the count:
 *
 *     u_int8 *space = vela_bundle_space(handle, &room);
 *     u_int32 length = ptp_clock_cfg_message_marshal(handle, mem_class, space, message, room, &err);
 *     vela_bundle_commit(handle, length, &err);
 *
 * A message that fails leaves the bundle as it was before; a bundle that is full (VELA_EMSGSIZE) can be closed and
 * sent.
 *
 * Format, all numbers in network byte order:
 *
 *     offset  bytes  content
 *     0       4      VELA_BUNDLE_MAGIC
 *     4       1      VELA_BUNDLE_VERSION
 *     5       3      0
 *     8       4      number of messages
 *     12      4      length of the whole bundle, these 16 bytes included
 *     16             per message: its length (4), then its bytes
 *
 * No bundle begins with the tag of a message, so that one byte tells a bundle from a single message.
 *
 * All calls follow the error rules of velalib/runtime.h: with *err set on entry they do nothing.
 */
#ifndef VELA_BUNDLE_H
#define VELA_BUNDLE_H

#include "velalib.h"

VELA_BEGIN_C

#define VELA_BUNDLE_MAGIC 0x56424E44u
#define VELA_BUNDLE_VERSION 1u

/** Widths of a bundle's parts. */
enum {
    VELA_BUNDLE_HEADER = 16, /**< before the first message */
    VELA_BUNDLE_PREFIX = 4,  /**< length before each message */
    VELA_BUNDLE_LEAST_MESSAGE = VELA_WIRE_MESSAGE_HEADER + VELA_WIRE_LUID
};

/** A bundle that is packed, or was. It belongs to one handle and to the thread that uses it. */
typedef struct vela_bundle vela_bundle;

/* ---- packing -------------------------------------------------------------------------------------------- */

/**
 * Creates an empty bundle and opens it on the handle.
 * @param capacity_bytes  bytes that the finished bundle may have, at least 63 (a header and the shortest message)
 * @param err  receives VELA_ENOMEM (no memory) or VELA_EINVAL (a bundle is open already, a capacity that holds no
 *             message)
 * @return the bundle, owned by the caller until vela_bundle_destroy(), or NULL
 */
VELA_API vela_bundle *vela_bundle_open(vela_handle *handle, u_int32 mem_class, u_int32 capacity_bytes, u_int32 *err);

/**
 * Empties a closed or aborted bundle and opens it again, without a new allocation.
 * @param handle  the handle that it was opened on
 * @param err     receives VELA_EINVAL when a bundle is open already or the bundle is another handle's
 */
VELA_API void vela_bundle_reopen(vela_handle *handle, vela_bundle *bundle, u_int32 *err);

/**
 * The free space of the open bundle, to marshal one message into. A message that was marshalled since the last
 * commit, and not committed, is forgotten.
 * @param room  NULL, or receives the bytes that a message may have
 * @return where the message's first byte goes; NULL with room 0 when no bundle is open
 */
VELA_API u_int8 *vela_bundle_space(vela_handle *handle, u_int32 *room);

/**
 * Takes the message in the free space into the open bundle.
 * @param length  bytes of the message, as its marshal returned them
 * @param err     set on entry: the message failed and is forgotten. Receives VELA_EINVAL (no bundle is open, the bytes
 *                are no message, or not the one that was marshalled last) or VELA_EMSGSIZE (longer than the room)
 * @return number of messages in the bundle, or 0
 */
VELA_API u_int32 vela_bundle_commit(vela_handle *handle, u_int32 length, u_int32 *err);

/** A message type's marshal, as in ptp_cfg_operations. */
typedef u_int32 (*vela_bundle_marshal_fn)(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *message,
                                          u_int32 room, u_int32 *err);

/**
 * Marshals a message into the open bundle. On failure the bundle is as before and *err is the marshal's or commit's.
 * @return number of messages in the bundle, or 0
 */
VELA_API u_int32 vela_bundle_add(vela_handle *handle, u_int32 mem_class, vela_bundle_marshal_fn marshal,
                                 const void *message, u_int32 *err);

/**
 * Finishes the open bundle; messages marshalled from now on are on their own. Acts also when *err is set, so that
 * what was packed before a failure can be sent.
 * @param bytes, length  receive the bundle; the bytes belong to it and stay until it is reopened or destroyed
 * @param err            receives VELA_EINVAL when no bundle is open
 * @return number of messages in it, perhaps 0
 */
VELA_API u_int32 vela_bundle_close(vela_handle *handle, const u_int8 **bytes, u_int32 *length, u_int32 *err);

/** Closes the open bundle and empties it; without one it does nothing. The bundle is still to be destroyed. */
VELA_API void vela_bundle_abort(vela_handle *handle);

/** Frees a bundle, and closes it before when it is open. NULL is allowed; its handle must still exist. */
VELA_API void vela_bundle_destroy(vela_bundle *bundle);

/* ---- reading -------------------------------------------------------------------------------------------- */

/** Walks through the messages of a bundle. Its members are the reader's own. */
typedef struct vela_bundle_reader {
    const u_int8 *bytes;
    u_int32 length;
    u_int32 position;
    u_int32 count; /**< messages that the bundle says it has */
    u_int32 index; /**< messages that were passed so far */
    u_int32 state;
} vela_bundle_reader;

/** One message of a bundle, or what is wrong in its place. */
typedef struct vela_bundle_item {
    const u_int8 *message; /**< its first byte, inside the bundle; NULL when the place holds none */
    u_int32 length;        /**< bytes of the message */
    u_int32 index;         /**< position among the messages, from 0 */
    u_int32 offset;        /**< of the place in the bundle, in bytes */
    u_int32 err;           /**< 0; VELA_EINVAL (no message, or a wrong length or count) or VELA_EMSGSIZE (cut off) */
    const char *reason;    /**< static text that explains err; NULL without one */
} vela_bundle_item;

/**
 * Starts to read bytes from outside: a bundle, or a single message, which reads as a bundle of one.
 * @param err  receives VELA_EMSGSIZE (shorter than a header, or than the bundle says) or VELA_EINVAL (no bundle,
 *             another version, longer than the bundle says); the reader is then at its end
 */
VELA_API void vela_bundle_read(vela_bundle_reader *reader, const u_int8 *bytes, u_int32 length, u_int32 *err);

/**
 * Takes the next place of a bundle. A place that holds no message is an item with `err` set, and the messages
 * after it still follow; where the lengths themselves are wrong, that item is the last.
 * @return 1 with an item, 0 at the end
 */
VELA_API u_int32 vela_bundle_next(vela_bundle_reader *reader, vela_bundle_item *item);

VELA_END_C

#endif
