/**
 * A transport in a library of its own.
 *
 * The channels whose URI begins with "SCHEME:", where libvela itself has no such scheme, are carried by the library
 * libvela_SCHEME.so. It lies in the folder of libvela or in the folder "vela" there, is looked for nowhere else, and is
 * loaded when the first such channel is opened. Names of schemes have up to 16 lower-case letters and digits.
 *
 * Such a library exports one function, vela_transport_plugin_describe(), and needs nothing else of what is below: queues,
 * limits, statistics and events of a channel are libvela's, over every transport.
 *
 * A link leads to one place, a server for example, and is the only peer of its channel from its opening to its closing.
 * What becomes of the connection in between is the link's own affair, which it tells by notes: it connects again by
 * itself. Each link is called from one thread at a time, and no call may wait. It may have threads of its own.
 */
#ifndef VELA_TRANSPORT_PLUGIN_H
#define VELA_TRANSPORT_PLUGIN_H

#include "vela_transport.h"

VELA_BEGIN_C

/** Of this description; a library of another is refused. */
#define VELA_TRANSPORT_PLUGIN_VERSION 1u

/** What a channel asks for. All of it is valid during the call only, but for the function. */
typedef struct vela_transport_request {
    const char *rest;                  /**< what follows the scheme and its colon in the URI */
    u_int32 listens;                   /**< 1: vela_channel_listen(), 0: vela_channel_connect() */
    u_int32 max_message;               /**< bytes of the longest frame */
    vela_message_describe_fn describe; /**< may be NULL */
} vela_transport_request;

/** A frame that came. */
typedef struct vela_transport_frame {
    const u_int8 *bytes; /**< valid until the next call of receive() */
    u_int32 length;
    u_int32 fault; /**< non-zero: a frame came but could not be taken, for this reason */
} vela_transport_frame;

/** Something that the channel's owner is told of: an event of the channel. */
typedef struct vela_transport_note {
    vela_channel_event_kind kind; /**< CONNECTED, DISCONNECTED, LOST, DROPPED, or REFUSED: the place does not serve */
    u_int32 err;
    u_int32 messages;
    const char *text; /**< valid until the next call of next_note() */
} vela_transport_note;

/** What a link has got hold of; the library knows what it is. */
typedef struct vela_transport_link vela_transport_link;

typedef struct vela_transport_plugin {
    u_int32 version; /**< VELA_TRANSPORT_PLUGIN_VERSION */
    /** Opens a link, whether or not its place can be reached now. NULL with a code in *err and a sentence in error_text. */
    vela_transport_link *(*open)(const vela_transport_request *request, char *error_text, size_t room, u_int32 *err);
    /** Ends a link at once. What at_risk() counts is lost. */
    void (*close)(vela_transport_link *link);
    /** The place and what stands behind it, for people; without secrets. */
    const char *(*peer)(const vela_transport_link *link);
    /** Readable when receive() or next_note() has something, when send() takes frames again, or when finish() is over. */
    int (*fd)(const vela_transport_link *link);
    /**
     * Takes a frame, copied: 1. Not now: 0; fd() becomes readable when it may be tried again.
     * @param progress  0 for a new frame; what the call leaves there is given back with the same frame next time
     */
    u_int32 (*send)(vela_transport_link *link, const u_int8 *bytes, u_int32 length, u_int32 *progress);
    /** The next frame: 1, or 0 when there is none. That the call is made says that the frame before was dealt with. */
    u_int32 (*receive)(vela_transport_link *link, vela_transport_frame *frame);
    /** The next note: 1, or 0 when there is none. */
    u_int32 (*next_note)(vela_transport_link *link, vela_transport_note *note);
    /** Frames that were taken and whose arrival is not confirmed. */
    u_int32 (*unconfirmed)(const vela_transport_link *link);
    /** Those of them that would be lost if the link were closed now. */
    u_int32 (*at_risk)(const vela_transport_link *link);
    /** Receives no more but what is already here. 1 once all that was taken is confirmed; asked again until then. */
    u_int32 (*finish)(vela_transport_link *link);
} vela_transport_plugin;

/** What a library exports. */
VELA_API const vela_transport_plugin *vela_transport_plugin_describe(void);

VELA_END_C

#endif
