// Reads the sections and dynamic symbols of 64-bit files.
#include "elf_file.h"

#include <elf.h>

#include <cstring>
#include <fstream>

namespace ptp_cfg_test {

elf_file::elf_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    bytes_.resize(file ? static_cast<size_t>(file.tellg()) : sizeof(Elf64_Ehdr));
    file.seekg(0);
    file.read(bytes_.data(), static_cast<std::streamsize>(bytes_.size()));
}

template <class T>
static T value_at(const std::string &bytes, size_t offset) {
    T value;
    memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

elf_file::section elf_file::find(const std::string &name) const {
    const auto header = value_at<Elf64_Ehdr>(bytes_, 0);
    const auto section_header = [&](size_t index) {
        return value_at<Elf64_Shdr>(bytes_, header.e_shoff + index * sizeof(Elf64_Shdr));
    };
    const char *names = bytes_.data() + section_header(header.e_shstrndx).sh_offset;
    for (size_t i = 0; i < header.e_shnum; ++i) {
        const Elf64_Shdr found = section_header(i);
        if (name == names + found.sh_name) {
            return {true, (found.sh_flags & SHF_ALLOC) != 0, bytes_.substr(found.sh_offset, found.sh_size)};
        }
    }
    return {};
}

template <class Entry>
std::vector<Entry> elf_file::entries(const std::string &section_name) const {
    const std::string content = find(section_name).content;
    std::vector<Entry> all(content.size() / sizeof(Entry));
    memcpy(all.data(), content.data(), all.size() * sizeof(Entry));
    return all;
}

std::set<std::string> elf_file::exported() const {
    const std::string strings = find(".dynstr").content;
    std::set<std::string> names;
    for (const Elf64_Sym &symbol : entries<Elf64_Sym>(".dynsym")) {
        if (symbol.st_shndx != SHN_UNDEF && symbol.st_shndx != SHN_ABS) {
            names.insert(strings.data() + symbol.st_name);
        }
    }
    return names;
}

std::vector<std::string> elf_file::needed() const {
    const std::string strings = find(".dynstr").content;
    std::vector<std::string> libraries;
    for (const Elf64_Dyn &entry : entries<Elf64_Dyn>(".dynamic")) {
        if (entry.d_tag == DT_NEEDED) {
            libraries.emplace_back(strings.data() + entry.d_un.d_val);
        }
    }
    return libraries;
}

}  // namespace ptp_cfg_test
