// Opens sockets, and sends and receives on them without blocking.
#include "socket.h"

#include <errno.h>

namespace vela::transport {
namespace {

void set_buffers(int fd, const backend_options &options) {
    int bytes = static_cast<int>(options.socket_buffer);
    if (bytes > 0) {
        setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes);
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
    }
}

// A shortage of memory in the system passes, as a full buffer does.
bool passes(int code) { return code == EAGAIN || code == EWOULDBLOCK || code == ENOBUFS || code == ENOMEM; }

// Repeats a call that a signal interrupts, and says what its result means.
template <typename callee>
io transfer(callee call, size_t &length, int &error) {
    ssize_t result;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    if (result < 0 && passes(errno)) {
        return io::again;
    }
    if (result < 0) {
        error = errno;
        return io::ended;
    }
    length = static_cast<size_t>(result);
    return io::done;
}

}  // namespace

file_descriptor open_socket(int family, int type, const backend_options &options, failure &why) {
    file_descriptor fd(socket(family, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!fd) {
        why = system_failure(errno, "no socket");
        return fd;
    }
    set_buffers(fd.get(), options);
    return fd;
}

file_descriptor accept_socket(int listening, const backend_options &options, failure &why) {
    int fd;
    do {
        fd = accept4(listening, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    } while (fd < 0 && (errno == EINTR || errno == ECONNABORTED));
    if (fd < 0) {
        why = system_failure(errno, "no connection accepted");
        return {};
    }
    set_buffers(fd, options);
    return file_descriptor(fd);
}

io send_bytes(int fd, const void *bytes, size_t length, size_t &sent, int &error) {
    return transfer([=] { return send(fd, bytes, length, MSG_NOSIGNAL | MSG_DONTWAIT); }, sent, error);
}

io send_parts(int fd, iovec *parts, size_t count, size_t &sent, int &error) {
    msghdr message = {};
    message.msg_iov = parts;
    message.msg_iovlen = count;
    return transfer([=, &message] { return sendmsg(fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT); }, sent, error);
}

io receive_bytes(int fd, void *buffer, size_t room, int flags, size_t &length, int &error) {
    const io result = transfer([=] { return recv(fd, buffer, room, MSG_DONTWAIT | flags); }, length, error);
    if (result == io::done && length == 0) {
        error = 0;
        return io::ended;
    }
    return result;
}

}  // namespace vela::transport
