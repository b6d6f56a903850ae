// Narration of both programs, and the end of one that cannot go on.
#include "demo.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace demo {
namespace {

std::string speaker;

}  // namespace

void introduce(const std::string &name) { speaker = name; }

void say(const std::string &line) {
    std::printf("%-15s %s\n", ("[" + speaker + "]").c_str(), line.c_str());
    std::fflush(stdout);
}

void check(u_int32 err, const std::string &doing) {
    if (err != 0) {
        std::fprintf(stderr, "%s: cannot %s: error %u (%s)\n", speaker.c_str(), doing.c_str(), err,
                     std::strerror(static_cast<int>(err)));
        std::exit(1);
    }
}

void show(const std::string &text) {
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        std::printf("    | %s\n", text.substr(start, end - start).c_str());
        start = end + 1;
    }
    std::fflush(stdout);
}

std::string printed(const ptp_cfg_type *type, vela_handle *handle, void *message) {
    ptp_cfg_type_description description{};
    description.size = sizeof description;
    ptp_cfg_type_describe(type, &description);
    std::string text(65536, ' ');
    u_int32 err = 0;
    const u_int32 length =
        description.operations->print(handle, mem_class, text.data(), message, static_cast<u_int32>(text.size()), &err);
    check(err, "print a message");
    return text.substr(0, length);
}

vela_handle *create_handle() {
    u_int32 err = 0;
    vela_handle *handle = vela_handle_create(nullptr, &err);
    check(err, "create a runtime handle");
    return handle;
}

void process(vela_channel *channel, vela_handle *handle, void *context) {
    constexpr int32 patience_ms = 10000;
    if (vela_channel_wait(channel, patience_ms) == 0) {
        check(110, "reach the other program");
    }
    u_int32 err = 0;
    vela_channel_process(channel, handle, mem_class, context, 0, &err);
    check(err, "use the channel");
}

}  // namespace demo
