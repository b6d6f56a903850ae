// Finds the file that an address was loaded from, and the build id that the linker put into a file.
#include "build_id.h"

#include <elf.h>
#include <gelf.h>
#include <libelf.h>
#include <limits.h>
#include <link.h>
#include <stdlib.h>
#include <string.h>

#include "text_section.h"

namespace bitlog {
namespace {

constexpr size_t padded(size_t size) { return (size + 3) & ~size_t{3}; }

/** Looks through notes for the linker's; damaged ones end the search. */
build_id find_in_notes(const uint8_t *notes, size_t size) {
    build_id build = {};
    ElfW(Nhdr) note;
    while (size >= sizeof note) {
        memcpy(&note, notes, sizeof note);
        const size_t name = padded(note.n_namesz);
        const size_t content = padded(note.n_descsz);
        if (note.n_namesz > size || note.n_descsz > size || sizeof note + name + content > size) {
            break;
        }
        if (note.n_type == NT_GNU_BUILD_ID && note.n_namesz == 4 && memcmp(notes + sizeof note, "GNU", 4) == 0 &&
            note.n_descsz <= build_id_room) {
            memcpy(build.bytes, notes + sizeof note + name, note.n_descsz);
            build.size = note.n_descsz;
            break;
        }
        notes += sizeof note + name + content;
        size -= sizeof note + name + content;
    }
    return build;
}

struct search {
    uintptr_t address;
    char *path;
    size_t room;
    build_id *build;
};

bool holds(const dl_phdr_info &object, uintptr_t address) {
    for (int i = 0; i < object.dlpi_phnum; ++i) {
        const ElfW(Phdr) &part = object.dlpi_phdr[i];
        if (part.p_type == PT_LOAD && address - (object.dlpi_addr + part.p_vaddr) < part.p_memsz) {
            return true;
        }
    }
    return false;
}

int look_at(dl_phdr_info *object, size_t, void *cookie) {
    search &wanted = *static_cast<search *>(cookie);
    if (!holds(*object, wanted.address)) {
        return 0;
    }
    for (int i = 0; i < object->dlpi_phnum && wanted.build->size == 0; ++i) {
        const ElfW(Phdr) &part = object->dlpi_phdr[i];
        if (part.p_type == PT_NOTE) {
            *wanted.build =
                find_in_notes(reinterpret_cast<const uint8_t *>(object->dlpi_addr + part.p_vaddr), part.p_memsz);
        }
    }
    // The main program has no name here.
    char *real = realpath(object->dlpi_name[0] != '\0' ? object->dlpi_name : "/proc/self/exe", nullptr);
    if (real != nullptr && strlen(real) < wanted.room) {
        memcpy(wanted.path, real, strlen(real) + 1);
    }
    free(real);
    return 1;
}

}  // namespace

void find_loaded_file(const void *address, char *path, size_t room, build_id &build) {
    path[0] = '\0';
    build = {};
    search wanted = {reinterpret_cast<uintptr_t>(address), path, room, &build};
    dl_iterate_phdr(look_at, &wanted);
}

build_id build_id_of_file(const char *path) {
    build_id build = {};
    const base::opened_file opened = open_module_file(path);
    Elf *elf =
        !opened || elf_version(EV_CURRENT) == EV_NONE ? nullptr : elf_begin(opened.file.get(), ELF_C_READ, nullptr);
    Elf_Scn *section = nullptr;
    while (build.size == 0 && (section = elf_nextscn(elf, section)) != nullptr) {
        GElf_Shdr header;
        Elf_Data *data = nullptr;
        if (gelf_getshdr(section, &header) != nullptr && header.sh_type == SHT_NOTE) {
            data = elf_rawdata(section, nullptr);
        }
        if (data != nullptr && data->d_buf != nullptr) {
            build = find_in_notes(static_cast<const uint8_t *>(data->d_buf), data->d_size);
        }
    }
    elf_end(elf);
    return build;
}

}  // namespace bitlog
