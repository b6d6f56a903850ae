// What the socket backends share.
#pragma once

#include <sys/socket.h>
#include <sys/uio.h>

#include "backend.h"
#include "base/file_descriptor.h"

namespace vela::transport {

// Opens a non-blocking socket with buffers as the options ask, as near as the system allows. Empty with the reason.
file_descriptor open_socket(int family, int type, const backend_options &options, failure &why);

// Accepts a connection. Empty with the reason, which is EAGAIN when there is none.
file_descriptor accept_socket(int listening, const backend_options &options, failure &why);

// send and sendmsg without signals and interruptions; `error` is set when the result is `ended`.
io send_bytes(int fd, const void *bytes, size_t length, size_t &sent, int &error);
io send_parts(int fd, iovec *parts, size_t count, size_t &sent, int &error);

// recv in the same manner. With the flag MSG_TRUNC `length` is that of a whole packet, also when the room was less.
// `ended` with error 0: the peer closed.
io receive_bytes(int fd, void *buffer, size_t room, int flags, size_t &length, int &error);

}  // namespace vela::transport
