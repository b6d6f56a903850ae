// The operations of texts: var_string, whose characters are an allocation of its own, and char arrays of a fixed size.
#include "values/string.h"

#include "values/escapes.h"
#include "values/text.h"
#include "velalib/strings.h"

namespace {

using values::are_given;
using values::fail;
using values::is_given;

void free_characters(vela_handle *handle, u_int32 mem_class, char *characters) {
    if (characters != nullptr) {
        handle->free(handle->cookie, mem_class, characters);
    }
}

/** A NUL-terminated copy from the handle's allocator; nullptr for no characters, or without memory and 12. */
char *duplicate(vela_handle *handle, u_int32 mem_class, const void *characters, u_int32 count, u_int32 *err) {
    if (count == 0) {
        return nullptr;
    }
    char *copy = static_cast<char *>(handle->alloc(handle->cookie, mem_class, size_t{count} + 1));
    if (copy == nullptr) {
        fail(handle, err, VELA_ENOMEM);
        return nullptr;
    }
    memcpy(copy, characters, count);
    copy[count] = '\0';
    return copy;
}

/** Orders by all bytes, then by length. */
int32 compare_bytes(const char *a, u_int32 count_a, const char *b, u_int32 count_b) {
    const u_int32 common = count_a < count_b ? count_a : count_b;
    const int32 result = common == 0 ? 0 : values::order(memcmp(a, b, common), 0);
    return result != 0 ? result : values::order(count_a, count_b);
}

u_int32 hash_text(const char *text, size_t length, u_int32 seed) {
    return length == 0 ? seed : values::hash_bytes(text, length, seed);
}

u_int32 print_text(vela_handle *handle, char *buffer, u_int32 indent, const char *label, const char *type_name,
                   const char *text, u_int32 count, u_int32 room, u_int32 *err) {
    values::bounded_text out(buffer, room);
    velalib::begin_line(out, indent, label, type_name);
    out.append('"');
    for (u_int32 at = 0; at < count;) {  // by pieces, so that the escaped text needs no memory
        constexpr u_int32 longest_piece = 64;
        u_int32 piece = count - at < longest_piece ? count - at : longest_piece;
        // A piece that does not end the text must not end inside a UTF-8 character.
        while (at + piece < count && piece > longest_piece - 4 && (text[at + piece] & 0xC0) == 0x80) {
            --piece;
        }
        char escaped[longest_piece * 4];
        const size_t length = values::escaped_length(values::text_form::line, text + at, piece);
        values::escape(values::text_form::line, text + at, piece, escaped);
        out.append(escaped, length);
        at += piece;
    }
    out.append("\"\n");
    return out.finish(handle, err);
}

}  // namespace

// ---- var_string ----------------------------------------------------------------------------------------------------

char *var_string_get(vela_handle *handle, u_int32, const var_string *value, u_int32 *err) {
    const var_string *found = values::get(handle, value, err);
    return found == nullptr ? nullptr : *found;
}

void var_string_set(vela_handle *handle, u_int32 mem_class, var_string *destination, const char *characters,
                    u_int32 count, u_int32 *err) {
    if (!are_given(handle, destination, count == 0 ? "" : characters, err)) {
        return;
    }
    char *copy = duplicate(handle, mem_class, characters, count, err);
    if (*err != 0) {
        return;
    }
    char *old = *destination;
    values::notify(handle, mem_class, destination, sizeof *destination);
    *destination = copy;
    free_characters(handle, mem_class, old);
}

void var_string_copy(vela_handle *handle, u_int32 mem_class, var_string *destination, const var_string *source,
                     u_int32 count, u_int32 *err) {
    if (are_given(handle, destination, source, err)) {
        var_string_set(handle, mem_class, destination, *source, *source == nullptr ? 0 : count, err);
    }
}

void var_string_destroy_internal(vela_handle *handle, u_int32 mem_class, var_string *value, u_int32 free) {
    if (value == nullptr || *value == nullptr) {
        return;
    }
    char *old = *value;
    if (free != 0) {
        values::notify(handle, mem_class, value, sizeof *value);
        *value = nullptr;
    }
    free_characters(handle, mem_class, old);
}

u_int32 var_string_marshal(vela_handle *handle, u_int32, u_int8 *buffer, const var_string *value, u_int32 count,
                           u_int32 room, u_int32 *err) {
    if (!vela_inline::fits(handle, count, room, err) || !is_given(handle, value, err)) {
        return 0;
    }
    if (count == 0) {
        return 0;
    }
    if (*value == nullptr) {
        memset(buffer, 0, count);
    } else {
        memcpy(buffer, *value, count);
    }
    return count;
}

u_int32 var_string_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, var_string *value,
                             u_int32 count, u_int32 room, u_int32, u_int32 *err) {
    if (!is_given(handle, value, err)) {
        return 0;
    }
    const bool fits = vela_inline::fits(handle, count, room, err);
    char *fresh = fits ? duplicate(handle, mem_class, buffer, count, err) : nullptr;
    free_characters(handle, mem_class, *value);
    *value = fresh;
    return *err == 0 ? count : 0;
}

u_int32 var_string_len(vela_handle *, u_int32, const var_string *value, u_int32 count) {
    return value == nullptr ? 0 : count;
}

int32 var_string_compare(const var_string *a, const var_string *b) {
    if (a == nullptr || b == nullptr) {
        return values::order(a != nullptr, b != nullptr);
    }
    return values::order(strcmp(*a == nullptr ? "" : *a, *b == nullptr ? "" : *b), 0);
}

int32 var_string_compare_counted(const var_string *a, u_int32 count_a, const var_string *b, u_int32 count_b) {
    if (a == nullptr || b == nullptr) {
        return values::order(a != nullptr, b != nullptr);
    }
    return compare_bytes(*a, *a == nullptr ? 0 : count_a, *b, *b == nullptr ? 0 : count_b);
}

u_int32 var_string_hash(const var_string *value, u_int32 count, u_int32 seed) {
    return value == nullptr || *value == nullptr ? seed : hash_text(*value, strnlen(*value, count), seed);
}

u_int32 var_string_print(vela_handle *handle, u_int32, char *buffer, u_int32 indent, const char *label,
                         const var_string *value, u_int32 count, u_int32 room, u_int32 *err) {
    if (!is_given(handle, value, err)) {
        return 0;
    }
    const u_int32 length = *value == nullptr ? 0 : count;
    return print_text(handle, buffer, indent, label, "var_string", *value, length, room, err);
}

// ---- char arrays ---------------------------------------------------------------------------------------------------

char *char_get(vela_handle *handle, u_int32, char *value, u_int32 *err) { return values::get(handle, value, err); }

void char_set(vela_handle *handle, u_int32 mem_class, char *destination, const char *characters, u_int32 count,
              u_int32 *err) {
    if (!are_given(handle, destination, characters, err)) {
        return;
    }
    const size_t length = strnlen(characters, size_t{count} + 1);
    if (length > count) {
        fail(handle, err, VELA_ENOSPC);
        return;
    }
    values::notify(handle, mem_class, destination, count);
    memmove(destination, characters, length);
    memset(destination + length, 0, count - length);
}

u_int32 char_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const char *value, u_int32 count,
                     u_int32 room, u_int32 *err) {
    const var_string text = const_cast<char *>(value);
    return var_string_marshal(handle, mem_class, buffer, value == nullptr ? nullptr : &text, count, room, err);
}

u_int32 char_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer, char *value, u_int32 count, u_int32 room,
                       u_int32, u_int32 *err) {
    if (!vela_inline::fits(handle, count, room, err) || !is_given(handle, value, err)) {
        return 0;
    }
    memcpy(value, buffer, count);
    return count;
}

u_int32 char_len(vela_handle *, u_int32, const char *value, u_int32 count) { return value == nullptr ? 0 : count; }

int32 char_compare(const char *a, const char *b, u_int32 count) {
    if (a == nullptr || b == nullptr) {
        return values::order(a != nullptr, b != nullptr);
    }
    return compare_bytes(a, count, b, count);
}

u_int32 char_hash(const char *value, u_int32 count, u_int32 seed) {
    return value == nullptr ? seed : hash_text(value, count, seed);
}

u_int32 char_print(vela_handle *handle, u_int32, char *buffer, u_int32 indent, const char *label, const char *value,
                   u_int32 count, u_int32 room, u_int32 *err) {
    if (!is_given(handle, value, err)) {
        return 0;
    }
    const u_int32 length = static_cast<u_int32>(strnlen(value, count));
    return print_text(handle, buffer, indent, label, "char", value, length, room, err);
}
