// Runs inputs without libFuzzer, in an ordinary build:
//
//   fuzz_rerun FOLDER                   what fuzzing found, FOLDER/TARGET/NAME, and some of what it begins with
//   fuzz_rerun --blind TARGET COUNT     so many well-formed inputs with changes by chance; what ends the program is left
//                                       in the file blind_TARGET
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "files.h"
#include "targets.h"

namespace {

constexpr u_int64 seeds_at_most = 60;
constexpr size_t longest_input = 1u << 18;

/** Runs what lies in a target's folder, if there is one; how many these were. */
unsigned run_findings(const fuzz::target &target, const std::filesystem::path &folder) {
    unsigned count = 0;
    if (std::filesystem::is_directory(folder)) {
        for (const std::filesystem::directory_entry &entry : std::filesystem::directory_iterator(folder)) {
            std::cout << target.name << "/" << entry.path().filename().string() << std::endl;  // before it may end here
            const fuzz::octets bytes = fuzz::read_file(entry.path());
            target.run(fuzz::input(bytes));
            ++count;
        }
    }
    return count;
}

void run_seeds(const fuzz::target &target) {
    const u_int64 step = std::max<u_int64>(target.seeds / seeds_at_most, 1);
    for (u_int64 number = 0; number < target.seeds; number += step) {
        const fuzz::octets bytes = target.make(number);
        target.run(fuzz::input(bytes));
        target.run(fuzz::input(std::span(bytes).first(bytes.size() / 2)));
    }
    std::cout << target.name << ": runs" << std::endl;
}

#ifdef FUZZ_AGENT
constexpr bool is_complete = true;
#else
constexpr bool is_complete = false;  // the agent's targets are not there
#endif

int rerun(const char *folder) {
    unsigned findings = 0;
    bool unknown = false;
    for (const fuzz::target &target : fuzz::targets) {
        findings += run_findings(target, std::filesystem::path(folder) / target.name);
        run_seeds(target);
    }
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        if (fuzz::find_target(entry.path().filename().string()) == nullptr) {
            std::cerr << "fuzz_rerun: " << entry.path() << " is of no target\n";
            unknown = true;
        }
    }
    std::cout << findings << " findings\n";
    return unknown && is_complete ? 1 : 0;
}

// ---- changes by chance -----------------------------------------------------------------------------------------------

void change(fuzz::octets &bytes, fuzz::random_source &random) {
    constexpr u_int8 odd[] = {0, 1, 2, 0x20, 0x7F, 0x80, 0xFE, 0xFF};
    const size_t place = random() % bytes.size();
    switch (random() % 8) {
        case 0:
            bytes.resize(place + 1);
            break;
        case 1:
            bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(place), bytes.begin(),
                         bytes.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(place, random() % 64)));
            break;
        case 2:
            bytes[place] = static_cast<u_int8>(bytes[place] ^ 1u << random() % 8);
            break;
        case 3:
            bytes[place] = static_cast<u_int8>(random() >> 8);
            break;
        default:
            bytes[place] = odd[random() % std::size(odd)];
    }
}

int run_blind(const fuzz::target &target, u_int64 count) {
    const std::string kept = std::string("blind_") + target.name;
    const int file = open(kept.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    void *memory = MAP_FAILED;
    if (file >= 0 && ftruncate(file, longest_input) == 0) {
        memory = mmap(nullptr, longest_input, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    }
    if (memory == MAP_FAILED) {
        std::cerr << "fuzz_rerun: " << kept << ": " << std::strerror(errno) << "\n";
        return 1;
    }
    fuzz::random_source random(static_cast<u_int32>(count));
    for (u_int64 done = 0; done < count; ++done) {
        fuzz::octets bytes = target.make(random());
        for (size_t changes = random() % 6; changes > 0; --changes) {
            change(bytes, random);
        }
        bytes.resize(std::min(bytes.size(), longest_input));
        std::memcpy(memory, bytes.data(), bytes.size());  // is still there when the program is not
        if (ftruncate(file, static_cast<off_t>(bytes.size())) != 0) {
            return 1;
        }
        target.run(fuzz::input(bytes));
        if (ftruncate(file, longest_input) != 0) {
            return 1;
        }
    }
    unlink(kept.c_str());
    std::cout << target.name << ": " << count << " inputs, nothing found\n";
    return 0;
}

}  // namespace

int main(int count, char **words) {
    const fuzz::target *target = count == 4 ? fuzz::find_target(words[2]) : nullptr;
    if (target != nullptr && std::string(words[1]) == "--blind") {
        return run_blind(*target, std::stoull(words[3]));
    }
    if (count != 2) {
        std::cerr << "usage: fuzz_rerun FOLDER | fuzz_rerun --blind TARGET COUNT\n";
        return 2;
    }
    return rerun(words[1]);
}
