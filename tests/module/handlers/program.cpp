// Receives one message for which an application handler may or may not be found.
//
//     program found|absent [FILE...]    FILEs are shared libraries to open first, in this order
//
// All operations are looked up by name, so that the same program runs with the library linked and with it opened.

#include <dlfcn.h>

#include <cstdio>
#include <cstring>

#include "ptp_cfg/messages.h"

namespace {

template <class Function>
Function *look_up(Function *, const char *name) {
    void *found = dlsym(RTLD_DEFAULT, name);
    if (found == nullptr) {
        fprintf(stderr, "%s is not there\n", name);
    }
    return reinterpret_cast<Function *>(found);
}
#define LOOK_UP(name) look_up(static_cast<decltype(&name)>(nullptr), #name)

int expect(bool found) {
    const auto handle_create = LOOK_UP(vela_handle_create);
    const auto handle_destroy = LOOK_UP(vela_handle_destroy);
    const auto create = LOOK_UP(ptp_port_delete_cmd_message_create);
    const auto marshal = LOOK_UP(ptp_port_delete_cmd_message_marshal);
    const auto unmarshal = LOOK_UP(ptp_port_delete_cmd_message_unmarshal);
    if (!handle_create || !handle_destroy || !create || !marshal || !unmarshal) {
        return 2;
    }
    u_int32 err = 0;
    vela_handle *handle = handle_create(nullptr, &err);
    u_int8 bytes[64];
    const u_int32 length = marshal(handle, 1, bytes, create(handle, 1), sizeof bytes, &err);
    if (err != 0) {
        fprintf(stderr, "marshal: error %u\n", err);
        return 2;
    }
    int handled = 0;
    unmarshal(handle, 1, &handled, nullptr, bytes, length, nullptr, &err);
    handle_destroy(handle, nullptr);
    printf("error %u, handled %d times\n", err, handled);
    return found ? !(err == 0 && handled == 1) : !(err == VELA_ENOSYS && handled == 0);
}

}  // namespace

int main(int argc, char **argv) {
    for (int i = 2; i < argc; ++i) {
        if (dlopen(argv[i], RTLD_NOW | RTLD_GLOBAL) == nullptr) {
            fprintf(stderr, "%s\n", dlerror());
            return 2;
        }
    }
    return argc < 2 ? 2 : expect(strcmp(argv[1], "found") == 0);
}
