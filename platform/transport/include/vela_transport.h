/**
 * Transport of marshalled messages between the programs of a network element.
 *
 * There are four domains: "gable", "wicket", "skein" and "osprey". Each is a channel that programs agree on, and a
 * URI says which backend carries it:
 *
 *     inproc:NAME     queues between the threads of one process; NULL as URI means inproc: and the domain's name
 *     unix:PATH       sequenced packets between the processes of one machine
 *     tcp:HOST:PORT   a stream between machines; HOST is a numeric address, one of IPv6 in brackets. Whoever reaches
 *                     the port is a peer: use it on a network that is closed to others
 *     SCHEME:...      what the library libvela_SCHEME.so carries (vela_transport_plugin.h), such as
 *                     nats://HOST:PORT/SUBJECT, the subjects of a NATS server
 *
 * One end listens, any number of ends connect. What travels is a bundle (vela_bundle.h) or a single marshalled
 * message; whoever receives it gets it as it was sent, through the bundle handler of the channel's domain.
 *
 * A channel has no thread and never blocks. The application waits for vela_channel_fd() to become readable and calls
 * vela_channel_process(), which delivers what arrived, sends what was queued, accepts peers and connects again. A
 * channel belongs to one thread at a time; several channels may be used by several threads. An inproc: channel must
 * not be carried into a child process.
 *
 * What vela_channel_send() accepted is delivered, stays queued, or is reported: as lost, or as sent to a peer that
 * ended before it read everything, both by an event and in the statistics. What waits when the only peer ends is kept
 * for the peer that comes next.
 *
 * All calls that take `err` follow the rules of velalib/runtime.h: with *err set on entry they do nothing.
 */
#ifndef VELA_TRANSPORT_H
#define VELA_TRANSPORT_H

#include "velalib.h"

VELA_BEGIN_C

/* ---- bundle handlers ------------------------------------------------------------------------------------ */

/**
 * Receives what a domain delivers.
 * @param handle, mem_class, context  as given to vela_channel_process()
 * @param bundle   a bundle or a single message, valid during the call; vela_bundle_read() reads either
 */
typedef void (*vela_bundle_handler)(vela_handle *handle, u_int32 mem_class, const u_int8 *bundle, u_int32 length,
                                    void *context);

/** Set the handler of a domain, for all its channels. Return 0; the handler may be replaced at any time. */
VELA_API u_int32 gable_bundle_handler_register(vela_bundle_handler handler);
VELA_API u_int32 wicket_bundle_handler_register(vela_bundle_handler handler);
VELA_API u_int32 skein_bundle_handler_register(vela_bundle_handler handler);
VELA_API u_int32 osprey_bundle_handler_register(vela_bundle_handler handler);

/** Take it back. What arrives without a handler is dropped and reported. Return 0, or VELA_ENOENT without one. */
VELA_API u_int32 gable_bundle_handler_unregister(void);
VELA_API u_int32 wicket_bundle_handler_unregister(void);
VELA_API u_int32 skein_bundle_handler_unregister(void);
VELA_API u_int32 osprey_bundle_handler_unregister(void);

/* ---- channels ------------------------------------------------------------------------------------------- */

/** Error words of the transport, beside those of velalib/types.h. */
enum {
    VELA_EAGAIN = 11,     /**< the queue is full: process the channel and send again later */
    VELA_EACCES = 13,     /**< the peer belongs to another user */
    VELA_EADDRINUSE = 98, /**< another program listens there */
    VELA_ENOTCONN = 107,  /**< there is no peer to reply to */
    VELA_ESHUTDOWN = 108, /**< the channel is being finished: it takes no more messages */
    VELA_ETIMEDOUT = 110  /**< a silent peer made room for another, or the network brought no answer */
};

typedef struct vela_channel vela_channel;

/** What an event tells. */
typedef enum vela_channel_event_kind {
    VELA_CHANNEL_CONNECTED = 1, /**< a peer is there */
    VELA_CHANNEL_DISCONNECTED,  /**< a peer has gone; `err` says why, 0: it closed, VELA_ETIMEDOUT: see `idle_ms` */
    /** A peer was turned away: another user's (VELA_EACCES), or one too many (VELA_EAGAIN); of a connecting end, the
     *  listening end has no place left (VELA_EAGAIN). At most one event a second; `messages` is the number of
     *  connections since the last one. */
    VELA_CHANNEL_REFUSED,
    VELA_CHANNEL_LOST, /**< `messages` accepted messages will not be sent any more */
    /** Up to `messages` messages were sent, but the peer ended, or the channel was closed, before the peer was known to
     *  have read them. */
    VELA_CHANNEL_UNREAD,
    /** A received message was not delivered: too long (VELA_EMSGSIZE), neither a message nor a bundle (VELA_EINVAL), or
     *  no handler (VELA_ENOSYS). */
    VELA_CHANNEL_DROPPED
} vela_channel_event_kind;

typedef struct vela_channel_event {
    vela_channel_event_kind kind;
    u_int32 err;
    u_int32 messages;
    const char *text;    /**< what happened, where and to whom; valid during the call */
    u_int64 delivered;   /**< DROPPED: messages of the same peer that were delivered before; 0: perhaps a stranger */
    const u_int8 *bytes; /**< DROPPED: what was received, valid during the call; NULL when it was too long to be kept */
    u_int32 length;      /**< number of those bytes */
} vela_channel_event;

/** Told of events, during a call on the channel. It may send; it must not process or close the channel. */
typedef void (*vela_channel_event_fn)(void *cookie, vela_channel *channel, const vela_channel_event *event);

/**
 * The role of a message, which says what may be left out where room is short, and its name, which channels may be spread
 * by: ptp_cfg_message_describe() of ptp_cfg/reflect.h. May be called from other threads than the channel's.
 */
typedef vela_message_role (*vela_message_describe_fn)(const u_int8 *bytes, u_int32 length, const char **name);

/** How a channel is to be opened. Zero-fill it, set `size`, then what you need; 0 takes the default. */
typedef struct vela_channel_options {
    size_t size;                 /**< sizeof(vela_channel_options) */
    u_int32 max_message;         /**< bytes of the longest message or bundle, at most 64 MiB; default 1 MiB */
    u_int32 queue_messages;      /**< messages that wait per peer; default 1024 */
    u_int32 queue_bytes;         /**< bytes that wait per peer; default 8 MiB, never less than one longest message */
    u_int32 max_peers;           /**< peers of a listening end; default 64 */
    u_int32 idle_ms;             /**< when all places are taken, a newcomer gets that of a peer from which no message
                                      came, and which read none, in this time since it connected; default 3000,
                                      0xFFFFFFFF: never */
    u_int32 socket_mode;         /**< permission bits of a unix: socket; default 0600 */
    u_int32 allow_other_users;   /**< non-zero: peers of a unix: channel may belong to another user */
    u_int32 socket_buffer;       /**< bytes that the system buffers per socket; default: to fit max_message */
    u_int32 reconnect_first_ms;  /**< wait before a second attempt to connect, doubled at each; default 10 */
    u_int32 reconnect_most_ms;   /**< longest wait; default 1000 */
    vela_channel_event_fn event; /**< NULL: none */
    void *event_cookie;
    vela_message_describe_fn describe; /**< NULL: every message is kept as if it were a command, and has no name */
} vela_channel_options;

/** Counters of a channel since it was opened, and what it holds now. */
typedef struct vela_channel_statistics {
    u_int64 sent; /**< messages handed over to peers, whole */
    u_int64 sent_bytes;
    u_int64 received; /**< messages delivered to the handler */
    u_int64 received_bytes;
    u_int64 refused; /**< sends refused because a queue was full */
    u_int64 lost;    /**< accepted messages that were given up */
    u_int64 unread;  /**< upper bound of messages that were sent and, when the connection ended, not known to be read */
    u_int64 dropped; /**< received messages that were not delivered */
    u_int64 connects; /**< peers that came, or connections that were made */
    u_int64 disconnects;
    u_int64 reconnects; /**< connections made after the first */
    u_int64 refused_peers;
    u_int32 peers;  /**< connected now */
    u_int32 queued; /**< messages that wait now */
    u_int64 queued_bytes;
} vela_channel_statistics;

/**
 * Opens the listening end of a domain's channel. A socket file that an ended program left behind is replaced.
 * @param domain   "gable", "wicket", "skein" or "osprey"
 * @param uri      see above; NULL: inproc: and the domain's name
 * @param options  NULL: defaults
 * @param error_text, room  NULL, or receives a sentence that says what was wrong
 * @param err      receives VELA_ENOMEM, VELA_EINVAL (unknown domain, malformed URI, options out of range),
 *                 VELA_EADDRINUSE (something listens there already, or a file that is no socket is in the way) or the
 *                 system's errno
 * @return the channel, owned by the caller until vela_channel_close(), or NULL
 */
VELA_API vela_channel *vela_channel_listen(const char *domain, const char *uri, const vela_channel_options *options,
                                           char *error_text, size_t room, u_int32 *err);

/**
 * Opens a connecting end. That nobody listens yet is no error: the channel queues and tries again.
 * Arguments and errors as of vela_channel_listen().
 */
VELA_API vela_channel *vela_channel_connect(const char *domain, const char *uri, const vela_channel_options *options,
                                            char *error_text, size_t room, u_int32 *err);

/**
 * Ends a channel in order, to be called before vela_channel_close(): sends what is queued, waits until the peers have
 * read it, tells them that nothing more comes, and takes what they still send. From the first call on new messages,
 * replies too, are refused (108), and no new peers are looked for unless something waits for them.
 *
 * An event loop calls it with a timeout of 0 in place of vela_channel_process(), each time that vela_channel_fd() is
 * readable, until it returns 1 or has taken too long.
 * @param handle, mem_class, context  passed on to the bundle handler
 * @param timeout_ms  longest time that the call may take; 0: it does what there is to do, without waiting
 * @param err         receives VELA_ENOMEM, or VELA_EINVAL when called from within a handler or an event
 * @return 1 when it is over: nothing is queued and no peer is left. Everything was then read, but for what the counters
 *         `lost` and `unread` say. 0 when the time is over or a signal came; vela_channel_unconfirmed() and the counter
 *         `queued` say what is missing
 */
VELA_API u_int32 vela_channel_finish(vela_channel *channel, vela_handle *handle, u_int32 mem_class, void *context,
                                     u_int32 timeout_ms, u_int32 *err);

/**
 * Upper bound of the messages that were sent to the present peers and are not known to be read. Over TCP a message is
 * read when its handler has returned; else when the peer's channel has taken it.
 */
VELA_API u_int32 vela_channel_unconfirmed(const vela_channel *channel);

/**
 * Closes a channel after one more attempt to send what is queued; the rest is lost, with an event. What TCP peers have
 * not confirmed by then may be lost as well, and is told and counted as unread: call vela_channel_finish() first.
 * Removes the socket file of a listening end.
 * @param channel     may be NULL
 * @param statistics  NULL, or receives the final counters
 */
VELA_API void vela_channel_close(vela_channel *channel, vela_channel_statistics *statistics);

/** The place that a channel is bound to, as a URI; of tcp:HOST:0 with the port that the system chose. */
VELA_API const char *vela_channel_uri(const vela_channel *channel);

/**
 * A descriptor that is readable (poll, select, epoll) whenever vela_channel_process() has something to do. It
 * belongs to the channel: do not read, write or close it.
 */
VELA_API int vela_channel_fd(const vela_channel *channel);

/**
 * Waits for something to do; together with vela_channel_process() it is the shortest way from a message to its
 * handler. Within a handler or an event it returns 0 at once.
 * @param timeout_ms  longest wait; negative: no limit
 * @return 1 when there is something to do, 0 when the time is over or a signal came. A signal that comes just before
 *         the call does not end it: who tests a flag that a signal handler sets waits for vela_channel_fd() with
 *         ppoll(), or together with a descriptor that the handler writes to
 */
VELA_API u_int32 vela_channel_wait(vela_channel *channel, int32 timeout_ms);

/**
 * Does what there is to do, without waiting: delivers, sends, accepts, connects.
 * @param handle, mem_class, context  passed on to the bundle handler
 * @param limit  most messages to deliver; 0: what has arrived, in portions that leave other work its turn. With 1, a
 *               message that is there costs one system call as a rule.
 * @param err    receives VELA_EINVAL when called from within a handler or an event
 * @return messages delivered; call again when it equals a limit above 0
 */
VELA_API u_int32 vela_channel_process(vela_channel *channel, vela_handle *handle, u_int32 mem_class, void *context,
                                      u_int32 limit, u_int32 *err);

/**
 * Sends a bundle or a single message: at once when nothing waits before it, else by way of the queue. A listening
 * end sends to every peer; without a peer it keeps the message for the next one. A peer whose queue is full misses
 * the message (event VELA_CHANNEL_LOST) unless no peer can take it.
 * @param bytes, length  copied when they have to wait
 * @param err            receives VELA_EAGAIN (the queue is full; nothing was taken), VELA_ENOMEM, VELA_EINVAL (neither
 *                       a bundle nor a message), VELA_EMSGSIZE (longer than max_message) or VELA_ESHUTDOWN (the channel
 *                       is being finished)
 * @return 1 when it was accepted, else 0
 */
VELA_API u_int32 vela_channel_send(vela_channel *channel, const u_int8 *bytes, u_int32 length, u_int32 *err);

/**
 * Sends to the one peer whose message is being delivered; only within a bundle handler.
 * @param err  as of vela_channel_send(), or 107 when nothing is being delivered or the peer has gone
 */
VELA_API u_int32 vela_channel_reply(vela_channel *channel, const u_int8 *bytes, u_int32 length, u_int32 *err);

/**
 * The peer whose message is being delivered, for people: "process 4711 of user 0", "192.0.2.1:40312". NULL outside of a
 * bundle handler; valid until the handler returns.
 */
VELA_API const char *vela_channel_peer(const vela_channel *channel);

/** Reads the counters. */
VELA_API void vela_channel_get_statistics(const vela_channel *channel, vela_channel_statistics *statistics);

VELA_END_C

#endif
