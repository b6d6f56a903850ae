// Channels that are opened while memory is lacking.
#include <dlfcn.h>
#include <netdb.h>

#include <cstdlib>
#include <filesystem>
#include <new>

#include "channel_end.h"

namespace {

constexpr u_int32 no_limit = 0xFFFFFFFFu;
u_int32 allocations_left = no_limit;

bool is_allowed() {
    if (allocations_left == no_limit) {
        return true;
    }
    return allocations_left != 0 && allocations_left-- != 0;
}

}  // namespace

void *operator new(size_t size) {
    void *memory = is_allowed() ? std::malloc(size != 0 ? size : 1) : nullptr;
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void *operator new[](size_t size) { return operator new(size); }
void operator delete(void *memory) noexcept { std::free(memory); }
void operator delete[](void *memory) noexcept { std::free(memory); }
void operator delete(void *memory, size_t) noexcept { std::free(memory); }
void operator delete[](void *memory, size_t) noexcept { std::free(memory); }

// The system's own takes memory too, and says so in its own way.
int getaddrinfo(const char *host, const char *port, const addrinfo *hints, addrinfo **found) {
    static const auto own = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    return is_allowed() ? own(host, port, hints, found) : EAI_MEMORY;
}

namespace {

size_t open_descriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

TEST(ChannelMemory, IsNamedWhenItLacksAtAnyPointOfOpening) {
    test::temporary_folder folder;
    const std::string uris[] = {"tcp:127.0.0.1:0", folder.uri(), "inproc:memory"};
    for (const auto open : {&vela_channel_listen, &vela_channel_connect}) {
        for (const std::string &uri : uris) {
            const size_t before = open_descriptors();
            u_int32 failures = 0;
            for (bool is_open = false; !is_open; ++failures) {
                ASSERT_LT(failures, 1000u) << uri;
                char text[100] = "";
                u_int32 err = 0;
                allocations_left = failures;
                vela_channel *channel = open("gable", uri.c_str(), nullptr, text, sizeof text, &err);
                allocations_left = no_limit;
                is_open = channel != nullptr;
                EXPECT_EQ(err, is_open ? 0u : u_int32{VELA_ENOMEM})
                    << uri << ", allocation " << failures << ": " << text;
                vela_channel_close(channel, nullptr);
                ASSERT_EQ(open_descriptors(), before) << uri << ", allocation " << failures;
            }
            EXPECT_GT(failures, 3u) << uri << ": a channel takes memory";
        }
    }
}

}  // namespace
