// Sorts the texts of a module by number, and finds them.
#include "text_index.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>

namespace bitlog {
namespace {

size_t count_lines(const text_block &block) {
    return static_cast<size_t>(std::count(block.data, block.data + block.size, '\n')) + 1;
}

// Reads "NUMBER<TAB>" at the start of a line; the text after it, or null.
const char *read_number(const char *line, uint32_t &number) {
    uint64_t value = 0;
    const char *at = line;
    for (; *at >= '0' && *at <= '9' && value <= UINT32_MAX; ++at) {
        value = value * 10 + static_cast<uint64_t>(*at - '0');
    }
    if (at == line || *at != '\t' || value > UINT32_MAX) {
        return nullptr;
    }
    number = static_cast<uint32_t>(value);
    return at + 1;
}

void fill(text_index &index) {
    char *line = index.block.data;
    char *end = line + index.block.size;
    while (line < end) {
        char *line_end = static_cast<char *>(memchr(line, '\n', static_cast<size_t>(end - line)));
        line_end = line_end == nullptr ? end : line_end;
        *line_end = '\0';
        text_entry &entry = index.entries[index.count];
        entry.text = read_number(line, entry.number);
        index.count += entry.text != nullptr ? 1 : 0;
        line = line_end + 1;
    }
    std::sort(index.entries, index.entries + index.count,
              [](const text_entry &a, const text_entry &b) { return a.number < b.number; });
}

}  // namespace

text_index *build_index(text_block block) {
    text_index *index = static_cast<text_index *>(malloc(sizeof(text_index)));
    text_entry *entries = static_cast<text_entry *>(calloc(count_lines(block), sizeof(text_entry)));
    if (index == nullptr || entries == nullptr) {
        free(index);
        free(entries);
        free(block.data);
        return nullptr;
    }
    *index = text_index{block, entries, 0};
    fill(*index);
    return index;
}

void destroy_index(text_index *index) {
    if (index != nullptr) {
        free(index->entries);
        free(index->block.data);
        free(index);
    }
}

const char *find_text(const text_index &index, uint32_t number) {
    const text_entry *first = index.entries;
    const text_entry *end = first + index.count;
    const text_entry *found = std::lower_bound(
        first, end, number, [](const text_entry &entry, uint32_t wanted) { return entry.number < wanted; });
    return found != end && found->number == number ? found->text : nullptr;
}

}  // namespace bitlog
