// Finds the section of a file that holds a module's texts, and decompresses it.
#include "text_section.h"

#include <bzlib.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <gelf.h>
#include <libelf.h>
#include <stdlib.h>
#include <string.h>

namespace bitlog {
namespace {

constexpr size_t first_room = 64 * 1024;
constexpr size_t most_room = 64 * 1024 * 1024;  // a damaged section must not eat the memory of the program

// Makes room for more output; false when there is none.
bool grow(text_block &block, size_t &room) {
    if (room >= most_room) {
        return false;
    }
    size_t larger = room == 0 ? first_room : room * 2;
    char *data = static_cast<char *>(realloc(block.data, larger));
    if (data == nullptr) {
        return false;
    }
    block.data = data;
    room = larger;
    return true;
}

// Decompresses up to the end of the compressed stream; what follows it in the section is padding.
bool expand(bz_stream &stream, text_block &block) {
    size_t room = 0;
    int status = BZ_OK;
    while (status == BZ_OK) {
        if (block.size + 1 >= room && !grow(block, room)) {
            return false;
        }
        unsigned int before = static_cast<unsigned int>(room - block.size - 1);
        unsigned int input_before = stream.avail_in;
        stream.next_out = block.data + block.size;
        stream.avail_out = before;
        status = BZ2_bzDecompress(&stream);
        block.size += before - stream.avail_out;
        if (status == BZ_OK && stream.avail_out == before && stream.avail_in == input_before) {
            return false;  // no progress: the section ends before its stream
        }
    }
    block.data[block.size] = '\0';
    return status == BZ_STREAM_END;
}

text_block decompress(const void *data, size_t size) {
    text_block block;
    bz_stream stream = {};
    if (BZ2_bzDecompressInit(&stream, 0, 0) != BZ_OK) {
        return block;
    }
    stream.next_in = static_cast<char *>(const_cast<void *>(data));
    stream.avail_in = static_cast<unsigned int>(size);
    bool whole = expand(stream, block);
    BZ2_bzDecompressEnd(&stream);
    if (!whole) {
        free(block.data);
        block = text_block{};
    }
    return block;
}

text_block read_section(Elf *elf, const char *name) {
    size_t names = 0;
    if (elf_getshdrstrndx(elf, &names) != 0) {
        return {};
    }
    Elf_Scn *section = nullptr;
    while ((section = elf_nextscn(elf, section)) != nullptr) {
        GElf_Shdr header;
        if (gelf_getshdr(section, &header) == nullptr || header.sh_type == SHT_NOBITS) {
            continue;
        }
        const char *found = elf_strptr(elf, names, header.sh_name);
        if (found == nullptr || strcmp(found, name) != 0) {
            continue;
        }
        Elf_Data *data = elf_rawdata(section, nullptr);
        if (data == nullptr || data->d_buf == nullptr || data->d_size == 0 || data->d_size > most_room) {
            return {};
        }
        return decompress(data->d_buf, data->d_size);
    }
    return {};
}

}  // namespace

base::opened_file open_module_file(const char *path) { return base::open_regular(path, O_RDONLY, base::allow_all); }

text_block read_file_texts(const char *path, const char *section) {
    const base::opened_file opened = open_module_file(path);
    text_block block;
    Elf *elf =
        !opened || elf_version(EV_CURRENT) == EV_NONE ? nullptr : elf_begin(opened.file.get(), ELF_C_READ, nullptr);
    if (elf != nullptr) {
        block = read_section(elf, section);
        elf_end(elf);
    }
    return block;
}

text_block read_module_texts(const void *address, const char *section) {
    Dl_info where;
    text_block block;
    if (dladdr(address, &where) != 0 && where.dli_fname != nullptr && where.dli_fname[0] != '\0') {
        block = read_file_texts(where.dli_fname, section);
    }
    // The main program is known by the name it was called with, which need not lead to its file.
    return block.data != nullptr ? block : read_file_texts("/proc/self/exe", section);
}

}  // namespace bitlog
