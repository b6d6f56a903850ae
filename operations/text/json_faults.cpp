// Reading JSON: how faults are told.
#include <stdarg.h>
#include <stdio.h>

#include "operations/text/json_reader.h"

namespace ptp_cfg {

namespace {

constexpr int most_shown = 40;

/** How much of a text to show, not ending within a character. */
int shown(std::string_view text) {
    size_t count = text.size() < size_t{most_shown} ? text.size() : size_t{most_shown};
    while (count < text.size() && count > 0 && (static_cast<u_int8>(text[count]) & 0xC0) == 0x80) {
        --count;
    }
    return static_cast<int>(count);
}

/** The path of a step, whose outermost ones are lost where the room ends. */
void write_path(const json_step *step, char *path, size_t room) {
    char *end = path + room - 1;
    *end = '\0';
    char *begin = end;
    for (; step != nullptr; step = step->outer) {
        char part[96];
        const int length = step->name == nullptr
                               ? snprintf(part, sizeof part, "[%u]", step->element)
                               : snprintf(part, sizeof part, "%s%.*s", step->outer != nullptr ? "/" : "",
                                          static_cast<int>(step->length < 64 ? step->length : 64), step->name);
        if (length > begin - path) {
            break;
        }
        begin -= length;
        memcpy(begin, part, static_cast<size_t>(length));
    }
    memmove(path, begin, static_cast<size_t>(end - begin) + 1);
    for (char *each = path; *each != '\0'; ++each) {  // an unknown name may have anything in it
        *each = static_cast<u_int8>(*each) < 0x20 || *each == 0x7F ? '?' : *each;
    }
}

void find_line(const char *text, size_t offset, json_place *place) {
    place->line = 1;
    size_t start = 0;
    for (size_t i = 0; i < offset; ++i) {
        if (text[i] == '\n') {
            ++place->line;
            start = i + 1;
        }
    }
    place->column = static_cast<u_int32>(offset - start + 1);
}

}  // namespace

bool json_reader::fault(size_t offset, u_int32 code, const char *format, ...) {
    char reason[384];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(reason, sizeof reason, format, arguments);
    va_end(arguments);
    char path[256];
    write_path(step_, path, sizeof path);
    json_place place = {offset, 0, 0, path, reason, code};
    find_line(source_.text, offset, &place);
    source_.tell(source_.listener, place);
    return fail_by(code);
}

bool json_reader::fail_by(u_int32 code) {
    err_ = code;
    return false;
}

bool json_reader::wrong_syntax(const char *reason) { return fault(here(), VELA_EINVAL, "not well-formed: %s", reason); }

/** Says what stands here in place of something else. */
bool json_reader::wanted(const char *what) {
    const char first = scanner_.next();
    const size_t at = here();
    if (scanner_.is_at_end()) {
        return fault(at, VELA_EINVAL, "the text ends where %s is wanted", what);
    }
    if (first == '{' || first == '[') {
        return fault(at, VELA_EINVAL, "%s is wanted, not %s", what, first == '{' ? "an object" : "an array");
    }
    json_string string;
    if (first == '"') {
        if (const char *reason = scanner_.take_string(&string)) {
            return wrong_syntax(reason);
        }
        return fault(at, VELA_EINVAL, "%s is wanted, not the text \"%.*s\"", what, shown(string.inner),
                     string.inner.data());
    }
    const std::string_view word = scanner_.take_word();
    if (word.empty()) {
        return fault(at, VELA_EINVAL, "%s is wanted", what);
    }
    for (const char character : word) {
        if (static_cast<u_int8>(character) < 0x20 || static_cast<u_int8>(character) >= 0x7F) {
            return fault(at, VELA_EINVAL, "%s is wanted, not the byte %02x", what, static_cast<u_int8>(word[0]));
        }
    }
    return fault(at, VELA_EINVAL, "%s is wanted, not %.*s", what, shown(word), word.data());
}

}  // namespace ptp_cfg
