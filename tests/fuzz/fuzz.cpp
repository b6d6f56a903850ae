// The program that libFuzzer drives:
//
//   ptp_cfg_fuzz --target=NAME [--counts=FILE] CORPUS [OPTIONS OF LIBFUZZER]
//   ptp_cfg_fuzz --prepare=FOLDER      makes FOLDER/corpus/TARGET for all targets, and FOLDER/dictionary
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "targets.h"

extern "C" size_t LLVMFuzzerMutate(u_int8 *bytes, size_t size, size_t room);

namespace {

const fuzz::target *chosen;
std::string counts_file;

/** The value of an option that is --NAME=VALUE. */
std::string option(int count, char **words, const std::string &name) {
    for (int i = 1; i < count; ++i) {
        if (std::string(words[i]).starts_with("--" + name + "=")) {
            return words[i] + name.size() + 3;
        }
    }
    return {};
}

void add_word(std::ofstream &file, const char *word) { file << '"' << word << "\"\n"; }

/** Names and literals, which chance does not find. */
void write_dictionary(const std::string &path) {
    std::ofstream file(path);
    for (u_int32 i = 0; i < ptp_cfg_type_count(); ++i) {
        const ptp_cfg_type *type = ptp_cfg_type_at(i);
        add_word(file, fuzz::describe(type).name);
        ptp_cfg_field_description field = {};
        field.size = sizeof field;
        for (u_int32 index = 0; ptp_cfg_field_describe(type, index, &field) != 0; ++index) {
            add_word(file, field.name);
        }
        ptp_cfg_literal literal = {};
        for (u_int32 index = 0; ptp_cfg_literal_describe(type, index, &literal) != 0; ++index) {
            add_word(file, literal.literal);
        }
    }
}

void prepare(const std::string &folder) {
    for (const fuzz::target &target : fuzz::targets) {
        const std::filesystem::path corpus = folder + "/corpus/" + target.name;
        std::filesystem::create_directories(corpus);
        for (u_int64 number = 0; number < target.seeds; ++number) {
            const fuzz::octets bytes = target.make(number);
            std::ofstream(corpus / ("seed" + std::to_string(number)))
                .write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        }
    }
    write_dictionary(folder + "/dictionary");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *count, char ***words) {
    if (const std::string folder = option(*count, *words, "prepare"); !folder.empty()) {
        prepare(folder);
        std::exit(0);
    }
    const std::string name = option(*count, *words, "target");
    chosen = fuzz::find_target(name);
    if (chosen == nullptr) {
        std::cerr << "fuzz: there is no target '" << name << "'; give --target= one of:\n";
        for (const fuzz::target &target : fuzz::targets) {
            std::cerr << "  " << target.name << "\n";
        }
        std::exit(2);
    }
    counts_file = option(*count, *words, "counts");
    if (!counts_file.empty()) {
        std::atexit([] { fuzz::write_counts(counts_file.c_str()); });
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const u_int8 *bytes, size_t size) {
    chosen->run(fuzz::input({bytes, size}));
    return 0;
}

/** Now and then begins anew from a well-formed input, or puts the begin of one input before the end of another. */
extern "C" size_t LLVMFuzzerCustomMutator(u_int8 *bytes, size_t size, size_t room, unsigned seed) {
    const unsigned chance = seed % 64;
    if (chance < 4) {
        const fuzz::octets fresh = chosen->make(seed / 64);
        const size_t from = chance < 2 || size == 0 ? 0 : seed / 64 % size;
        if (from < fresh.size() && fresh.size() <= room) {
            std::memcpy(bytes + from, fresh.data() + from, fresh.size() - from);
            size = fresh.size();
        }
    }
    return LLVMFuzzerMutate(bytes, size, room);
}
