// Channels that are opened while memory is lacking.
#include <dlfcn.h>
#include <netdb.h>

#include <filesystem>

#include "channel_end.h"
#include "failing_memory.h"

// The system's own takes memory too, and says so in its own way.
int getaddrinfo(const char *host, const char *port, const addrinfo *hints, addrinfo **found) {
    static const auto own = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    return test::memory.refuses() ? EAI_MEMORY : own(host, port, hints, found);
}

namespace {

size_t open_descriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

TEST(ChannelMemory, IsNamedWhenItLacksAtAnyPointOfOpening) {
    if (!test::can_fail()) {
        GTEST_SKIP() << "the program's memory is another's here";
    }
    test::temporary_folder folder;
    const std::string uris[] = {"tcp:127.0.0.1:0", folder.uri(), "inproc:memory"};
    for (const auto open : {&vela_channel_listen, &vela_channel_connect}) {
        for (const std::string &uri : uris) {
            const size_t before = open_descriptors();
            long failures = 0;
            for (bool is_open = false; !is_open; ++failures) {
                ASSERT_LT(failures, 1000) << uri;
                char text[100] = "";
                u_int32 err = 0;
                test::memory.fail_after(failures);
                vela_channel *channel = open("gable", uri.c_str(), nullptr, text, sizeof text, &err);
                test::memory.stop();
                is_open = channel != nullptr;
                EXPECT_EQ(err, is_open ? 0u : u_int32{VELA_ENOMEM})
                    << uri << ", allocation " << failures << ": " << text;
                vela_channel_close(channel, nullptr);
                ASSERT_EQ(open_descriptors(), before) << uri << ", allocation " << failures;
            }
            EXPECT_GT(failures, 3) << uri << ": a channel takes memory";
        }
    }
}

}  // namespace
