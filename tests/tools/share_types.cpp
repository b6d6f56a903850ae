// Makes a file of shared types and creates clocks that are counted there: share_types FILE CLOCKS
#include <cstdio>
#include <cstdlib>

#include "ptp_cfg/clock.h"

int main(int, char **arguments) {
    u_int32 err = 0;
    char reason[200] = "";
    vela_handle_options options = {};
    options.size = sizeof options;
    void *const address = reinterpret_cast<void *>(0x60000000);  // free under valgrind and the sanitizers too
    options.shared_types = vela_shared_types_create(arguments[1], address, 1 << 16, &err, reason, sizeof reason);
    vela_handle *handle = vela_handle_create(&options, &err);
    if (handle == nullptr) {
        std::fprintf(stderr, "%s\n", reason);
        return 1;
    }
    ptp_clock_destroy(handle, 0, ptp_clock_create(handle, 0));
    for (int i = std::atoi(arguments[2]); i > 1; --i) {
        ptp_clock_create(handle, 0);
    }
    vela_handle_destroy(handle, nullptr);
    vela_shared_types_close(options.shared_types);
    return 0;
}
