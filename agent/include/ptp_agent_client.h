/**
 * Tells a control plane what became of what it asked: applied, refused with every reason, or not expressible by the agent's
 * daemon.
 *
 *     ptp_agent_client *client = ptp_agent_client_create(NULL, why, sizeof why, &err);
 *     ptp_agent_client_send(client, channel, bytes, length, &err);                  // in place of vela_channel_send()
 *     if (ptp_agent_client_wait(client, handle, context, 5000, &err) != 0) {
 *         for (u_int32 i = 0; i < ptp_agent_client_count(client); ++i) {
 *             ptp_agent_answer answer = {.size = sizeof answer};
 *             ptp_agent_client_get(client, i, &answer, &err);
 *             puts(answer.text);
 *         }
 *     }
 *
 * No message says it, because none names the one that it answers. What is asked travels as messages over the channel, as
 * from a program without this library; what became of it is asked at the agent's status socket, by the bytes that were
 * sent. So the status socket must be within reach: the client runs on the same machine, or the socket is forwarded.
 *
 * An answer is final: `applied` is said once the daemon runs with it. Whoever has an event loop calls
 * ptp_agent_client_poll() from a timer in place of ptp_agent_client_wait(). A client serves one bundle at a time and
 * belongs to one thread at a time. Calls with an error word do nothing when it is set on entry.
 */
#ifndef PTP_AGENT_CLIENT_H
#define PTP_AGENT_CLIENT_H

#include "vela_transport.h"

VELA_BEGIN_C

typedef struct ptp_agent_client ptp_agent_client;

typedef enum ptp_agent_outcome {
    PTP_AGENT_APPLIED = 0,
    PTP_AGENT_REFUSED = 1,         /**< it is wrong, or the daemon refused it; nothing has changed */
    PTP_AGENT_NOT_EXPRESSIBLE = 2, /**< it is right, but this daemon cannot do it; nothing has changed */
    PTP_AGENT_NOT_FOR_IT = 3       /**< a report, of the kind that the agent sends itself */
} ptp_agent_outcome;

/** What became of one message. The texts are the client's, until its next bundle. */
typedef struct ptp_agent_answer {
    size_t size; /**< set by the caller to sizeof(ptp_agent_answer) */
    ptp_agent_outcome outcome;
    const char *message; /**< "ptp_clock_cfg" */
    const char *object;  /**< "clock 1"; empty for settings of the whole element */
    const char *text;    /**< all of it for people: a line, then one for each reason and each field without effect */
    const char *json;    /**< the same for programs: an object with "outcome", "violations" and so on */
} ptp_agent_answer;

/**
 * @param socket_path       of the agent's status socket; NULL: /run/ptp_agent/status.sock
 * @param error_text, room  NULL, or receives what is wrong
 * @param err               receives VELA_ENOMEM, or the system's errno when nobody answers there
 * @return NULL on failure
 */
VELA_API ptp_agent_client *ptp_agent_client_create(const char *socket_path, char *error_text, size_t room,
                                                   u_int32 *err);
/** NULL is ignored. */
VELA_API void ptp_agent_client_destroy(ptp_agent_client *client);

/**
 * Sends a bundle or a single message, as vela_channel_send(), and forgets the answers to the one before.
 * @param channel  stays the caller's, also while the client waits
 * @param err      receives what vela_channel_send() stores, or the errno of the status socket
 */
VELA_API void ptp_agent_client_send(ptp_agent_client *client, vela_channel *channel, const u_int8 *bytes,
                                    u_int32 length, u_int32 *err);

/**
 * Asks once, without waiting for more than the agent's reply. The channel has to be processed meanwhile, or nothing leaves.
 * @param err  receives the errno of the status socket, or VELA_EINVAL when the agent's reply is none
 * @return 1 once the answers are there, 0 before
 */
VELA_API u_int32 ptp_agent_client_poll(ptp_agent_client *client, u_int32 *err);

/**
 * Processes the channel and asks until the answers are there.
 * @param handle, context  as for vela_channel_process()
 * @param timeout_ms       a restart of the daemon takes some seconds
 * @return 1 with the answers, 0 without after the time
 */
VELA_API u_int32 ptp_agent_client_wait(ptp_agent_client *client, vela_handle *handle, void *context, u_int32 timeout_ms,
                                       u_int32 *err);

/** Answers that are there, one for each message of the bundle that could be read, and one for all that could not. */
VELA_API u_int32 ptp_agent_client_count(const ptp_agent_client *client);
/** Fills as much of `answer` as its size says; VELA_ENOENT when there is none at the index. */
VELA_API void ptp_agent_client_get(const ptp_agent_client *client, u_int32 index, ptp_agent_answer *answer,
                                   u_int32 *err);

VELA_END_C

#endif
