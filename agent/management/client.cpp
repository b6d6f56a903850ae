// Requests, replies, time-outs and retries of the management protocol.
#include "agent/management/client.h"

#include <sys/epoll.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/clocks.h"

namespace ptp_agent {
namespace {

/** Systems let as few as ten datagrams wait at a socket; what finds no place is lost and must be asked for again. */
constexpr std::size_t most_in_flight = 6;
/** Datagrams that are looked at before other sources of the loop have their turn. */
constexpr int most_received_at_once = 64;

std::uint64_t now_ms() { return base::clock_ms(CLOCK_MONOTONIC); }

PortIdentity random_identity() {
    std::uint8_t bytes[10] = {};
    if (getrandom(bytes, sizeof bytes, GRND_NONBLOCK) != sizeof bytes) {
        const std::uint64_t seed = base::clock_ns(CLOCK_MONOTONIC) ^ static_cast<std::uint64_t>(getpid()) << 40;
        std::memcpy(bytes, &seed, sizeof seed);
    }
    PortIdentity identity;
    std::memcpy(identity.clock.data(), bytes, identity.clock.size());
    std::memcpy(&identity.port, bytes + identity.clock.size(), sizeof identity.port);
    return identity;
}

std::string path_of_client(const std::string &directory, const PortIdentity &identity) {
    char name[32];
    std::snprintf(name, sizeof name, "/management.%02x%02x%02x%02x%04x", identity.clock[0], identity.clock[1],
                  identity.clock[2], identity.clock[3], static_cast<unsigned>(identity.port));
    return directory + name;
}

bool fill_address(sockaddr_un &address, const std::string &path) {
    address = {};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return true;
}

/** A socket that is bound to its own path, which only this user can reach. */
base::file_descriptor bound_socket(const std::string &path) {
    base::file_descriptor made(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address;
    const int on = 1;
    if (!made || !fill_address(address, path)) {
        return {};
    }
    unlink(path.c_str());
    const mode_t before = umask(0177);
    const int bound = bind(made.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
    umask(before);
    if (bound != 0 || setsockopt(made.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0) {
        return {};
    }
    return made;
}

/** One datagram and who sent it. */
struct Datagram {
    std::uint8_t bytes[longest_management_message];
    std::size_t length = 0;
    std::optional<uid_t> sender;
    bool cut = false;
};

/** False when there is none, with errno. */
bool receive_datagram(int socket, Datagram &datagram) {
    iovec part = {datagram.bytes, sizeof datagram.bytes};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
    msghdr header = {};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof control;
    const ssize_t length = recvmsg(socket, &header, MSG_CMSG_CLOEXEC);
    if (length < 0) {
        return false;
    }
    datagram.length = static_cast<std::size_t>(length);
    datagram.cut = (header.msg_flags & MSG_TRUNC) != 0;
    datagram.sender.reset();
    const cmsghdr *first = CMSG_FIRSTHDR(&header);
    if (first != nullptr && first->cmsg_level == SOL_SOCKET && first->cmsg_type == SCM_CREDENTIALS) {
        ucred who;
        std::memcpy(&who, CMSG_DATA(first), sizeof who);
        datagram.sender = who.uid;
    }
    return true;
}

bool is_trusted(const std::optional<uid_t> &sender, const std::optional<uid_t> &wanted) {
    if (!sender) {
        return false;
    }
    return wanted ? *sender == *wanted : *sender == 0 || *sender == geteuid();
}

}  // namespace

ManagementClient::ManagementClient(EventLoop &loop, ManagementOptions options)
    : loop_(loop),
      options_(std::move(options)),
      identity_(random_identity()),
      own_path_(path_of_client(options_.own_directory, identity_)),
      timer_(loop, [this] { check_deadlines(); }) {}

ManagementClient::~ManagementClient() {
    *alive_ = false;
    if (socket_) {
        unlink(own_path_.c_str());
    }
}

void ManagementClient::get(std::uint16_t port, ManagementId id, Callback done) {
    Request request;
    request.port = port;
    request.id = id;
    request.done = std::move(done);
    ask(std::move(request));
}

void ManagementClient::set(std::uint16_t port, ManagementId id, std::vector<std::uint8_t> data, Callback done) {
    Request request;
    request.port = port;
    request.action = ManagementAction::Set;
    request.id = id;
    request.data = std::move(data);
    request.done = std::move(done);
    ask(std::move(request));
}

void ManagementClient::set_domain(std::uint8_t domain) {
    if (domain == options_.domain) {
        return;
    }
    options_.domain = domain;
    for (auto &[sequence, request] : pending_) {
        request.tries = 0;
        request.due_ms = now_ms();
    }
    schedule();
}

void ManagementClient::ask(Request request) {
    ++statistics_.requests;
    waiting_.push_back(std::move(request));
    // From the loop, not from here: no callback may come before the caller has returned.
    if (!timer_.is_running() || pending_.size() < most_in_flight) {
        timer_.start_ms(0);
    }
}

void ManagementClient::pump() {
    while (!waiting_.empty() && pending_.size() < most_in_flight) {
        while (pending_.contains(next_sequence_)) {
            ++next_sequence_;
        }
        const std::uint16_t sequence = next_sequence_++;
        const auto entry = pending_.emplace(sequence, std::move(waiting_.front())).first;
        waiting_.pop_front();
        transmit(sequence, entry->second);
    }
}

void ManagementClient::transmit(std::uint16_t sequence, Request &request) {
    ++request.tries;
    request.due_ms = now_ms() + options_.timeout_ms;
    if (!socket_ && !connect()) {
        return;
    }
    ManagementMessage message;
    message.domain = options_.domain;
    message.source = identity_;
    message.target.port = request.port;
    message.sequence = sequence;
    message.action = request.action;
    message.id = request.id;
    message.data = request.data;
    const std::vector<std::uint8_t> bytes = encode_management(message);
    // Once more over a new socket: the daemon may have been started anew since the last request.
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) >= 0 || errno == EAGAIN) {
            return;
        }
        disconnect(errno, "send to");
        if (!connect()) {
            return;
        }
    }
}

bool ManagementClient::connect() {
    sockaddr_un address;
    base::file_descriptor made = bound_socket(own_path_);
    if (!made) {
        trouble_ = "cannot make the socket " + own_path_ + ": " + std::strerror(errno);
        return false;
    }
    if (!fill_address(address, options_.daemon_path) ||
        ::connect(made.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        trouble_ = "cannot reach the daemon at " + options_.daemon_path + ": " + std::strerror(errno);
        unlink(own_path_.c_str());
        return false;
    }
    socket_ = std::move(made);
    readable_ = loop_.watch(socket_.get(), EPOLLIN, [this](std::uint32_t) { receive(); });
    trouble_.clear();
    ++statistics_.connects;
    if (connected_) {
        connected_();
    }
    return true;
}

void ManagementClient::disconnect(int code, const char *doing) {
    trouble_ = std::string("cannot ") + doing + " the daemon at " + options_.daemon_path + ": " + std::strerror(code);
    readable_.reset();
    socket_ = base::file_descriptor();
    unlink(own_path_.c_str());
}

void ManagementClient::receive() {
    const std::shared_ptr<bool> alive = alive_;
    Datagram datagram;
    for (int i = 0; i < most_received_at_once && *alive && socket_; ++i) {
        if (!receive_datagram(socket_.get(), datagram)) {
            if (errno != EAGAIN && errno != EINTR) {
                disconnect(errno, "read from");
            }
            break;
        }
        if (!is_trusted(datagram.sender, options_.daemon_uid)) {
            ++statistics_.foreign;
        } else if (datagram.cut) {
            ++statistics_.malformed;
        } else {
            accept_datagram({datagram.bytes, datagram.length});
        }
    }
    if (*alive) {
        pump();
        schedule();
    }
}

void ManagementClient::accept_datagram(std::span<const std::uint8_t> bytes) {
    std::string why;
    const std::optional<ManagementMessage> message = decode_management(bytes, why);
    if (!message) {
        ++statistics_.malformed;
        return;
    }
    const bool answers = message->action == ManagementAction::Response && message->target == identity_;
    if (!answers || message->domain != options_.domain) {
        ++statistics_.stray;
        return;
    }
    if (accept_reply(*message)) {
        return;
    }
    // What is pushed has the sequence numbers of the subscription.
    const bool pushed =
        message->error == 0 && (message->id == ManagementId::PortDataSet || message->id == ManagementId::TimeStatus);
    if (pushed && event_) {
        ++statistics_.events;
        event_(message->id, message->data, message->source);
    } else {
        ++statistics_.stray;
    }
}

bool ManagementClient::accept_reply(const ManagementMessage &message) {
    const auto entry = pending_.find(message.sequence);
    if (entry == pending_.end() || entry->second.id != message.id) {
        return false;
    }
    const std::uint16_t port = entry->second.port;
    if (port != all_ports && message.error == 0 && message.source.port != port) {
        return false;
    }
    ++statistics_.replies;
    ManagementReply reply;
    reply.source = message.source;
    if (message.error != 0) {
        reply.outcome = is_unknown_id(message.error) ? Outcome::Unsupported : Outcome::Refused;
        reply.reason = name_of(message.id) + ": the daemon answered " + name_of_error(message.error);
    } else {
        reply.outcome = Outcome::Done;
        reply.data = message.data;
    }
    finish(entry, reply);
    return true;
}

void ManagementClient::finish(Pending::iterator entry, const ManagementReply &reply) {
    const Callback done = std::move(entry->second.done);
    pending_.erase(entry);
    done(reply);
}

void ManagementClient::check_deadlines() {
    const std::shared_ptr<bool> alive = alive_;
    pump();
    std::vector<std::uint16_t> due;
    for (const auto &[sequence, request] : pending_) {
        if (request.due_ms <= now_ms()) {
            due.push_back(sequence);
        }
    }
    for (const std::uint16_t sequence : due) {
        if (!*alive) {
            return;
        }
        const auto entry = pending_.find(sequence);
        if (entry == pending_.end()) {
            continue;
        }
        if (entry->second.tries < options_.tries) {
            ++statistics_.retries;
            transmit(sequence, entry->second);
            continue;
        }
        ++statistics_.unanswered;
        ManagementReply reply;
        reply.reason = name_of(entry->second.id) + ": no answer" + (trouble_.empty() ? "" : ", " + trouble_);
        finish(entry, reply);
    }
    if (*alive) {
        pump();
        schedule();
    }
}

void ManagementClient::schedule() {
    if (pending_.empty()) {
        timer_.stop();
        return;
    }
    std::uint64_t first = UINT64_MAX;
    for (const auto &[sequence, request] : pending_) {
        first = std::min(first, request.due_ms);
    }
    const std::uint64_t now = now_ms();
    timer_.start_ms(first > now ? first - now : 0);
}

}  // namespace ptp_agent
