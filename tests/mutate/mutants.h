// Which change of the library is made in this process: PTP_CFG_MUTANT is its number. In PTP_CFG_MUTANTS_REACHED, a file, a
// byte is set for each that the process comes to. `./dev mutate` includes this in the copy that it changes.
#pragma once

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <type_traits>

namespace ptp_cfg_mutants {

constexpr int most = 1 << 16;

struct state {
    int made;
    unsigned char *reached;
};

inline state load() {
    state loaded = {0, nullptr};
    if (const char *number = getenv("PTP_CFG_MUTANT")) {
        loaded.made = atoi(number);
    }
    if (const char *path = getenv("PTP_CFG_MUTANTS_REACHED")) {
        const int file = open(path, O_RDWR | O_CLOEXEC);
        void *bytes = file < 0 ? MAP_FAILED : mmap(nullptr, most, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        loaded.reached = bytes == MAP_FAILED ? nullptr : static_cast<unsigned char *>(bytes);
        if (file >= 0) {
            close(file);
        }
    }
    return loaded;
}

inline const state &now() {
    static const state loaded = load();
    return loaded;
}

inline bool made_at_run_time(int number) {
    const state &process = now();
    if (process.reached != nullptr) {
        process.reached[number] = 1;
    }
    return process.made == number;
}

/** Whether the change is made; what is computed when the library is compiled stays as it is. */
constexpr bool made(int number) { return !std::is_constant_evaluated() && made_at_run_time(number); }

}  // namespace ptp_cfg_mutants
