#include "fake_server.h"

#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>

namespace ptp_agent::test {
namespace {

sockaddr_un address_of(const std::string &path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

}  // namespace

FakeServer::FakeServer(EventLoop &loop, std::string path)
    : path_(std::move(path)), socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    const sockaddr_un address = address_of(path_);
    EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    readable_ = loop.watch(socket_.get(), EPOLLIN, [this](std::uint32_t) { receive(); });
}

FakeServer::~FakeServer() { unlink(path_.c_str()); }

void FakeServer::receive() {
    std::uint8_t bytes[2048];
    sockaddr_un from = {};
    socklen_t size = sizeof from;
    const ssize_t length = recvfrom(socket_.get(), bytes, sizeof bytes, 0, reinterpret_cast<sockaddr *>(&from), &size);
    ASSERT_GT(length, 0);
    std::string why;
    const auto request = decode_management({bytes, static_cast<std::size_t>(length)}, why);
    ASSERT_TRUE(request.has_value()) << why;
    client_path_ = from.sun_path;
    client_ = request->source;
    requests.push_back(*request);
    requests.back().data = {};
    if (behaviour) {
        behaviour(*this, *request);
    } else {
        answer(*request);
    }
}

ManagementMessage FakeServer::reply_to(const ManagementMessage &request) {
    ManagementMessage reply = request;
    reply.source = {{1, 2, 3, 4, 5, 6, 7, 8},
                    request.target.port == all_ports ? std::uint16_t{0} : request.target.port};
    reply.target = request.source;
    reply.action = ManagementAction::Response;
    const auto value = values.find(request.id);
    if (value == values.end()) {
        reply.error = 2;  // NO_SUCH_ID
    } else {
        reply.data = value->second;
    }
    return reply;
}

void FakeServer::answer(const ManagementMessage &request) {
    if (request.domain != domain) {
        return;  // as the daemon does
    }
    if (request.action == ManagementAction::Set) {
        values[request.id].assign(request.data.begin(), request.data.end());
    }
    send(reply_to(request));
}

void FakeServer::send(const ManagementMessage &message) { send_bytes(encode_management(message)); }

void FakeServer::send_bytes(const std::vector<std::uint8_t> &bytes) {
    const sockaddr_un to = address_of(client_path_);
    sendto(socket_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT, reinterpret_cast<const sockaddr *>(&to), sizeof to);
}

}  // namespace ptp_agent::test
