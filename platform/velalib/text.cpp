// The formatted text that records are printed with.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "values/bounded_text.h"
#include "velalib/runtime.h"

using values::bounded_text;

namespace {

/** Formats what record printing uses: literal text, %s %d %u %c %%. False at anything else; start again then. */
bool format_simple(bounded_text &out, const char *format, va_list arguments) {
    while (*format != '\0') {
        const char *directive = strchr(format, '%');
        if (directive == nullptr) {
            out.append(format);
            return true;
        }
        out.append(format, static_cast<size_t>(directive - format));
        switch (directive[1]) {
            case 's': {
                const char *text = va_arg(arguments, const char *);
                out.append(text != nullptr ? text : "(null)");
                break;
            }
            case 'd':
                out.append_number(va_arg(arguments, int));
                break;
            case 'u':
                out.append_number(va_arg(arguments, unsigned));
                break;
            case 'c':
                out.append(static_cast<char>(va_arg(arguments, int)));
                break;
            case '%':
                out.append('%');
                break;
            default:
                return false;
        }
        format = directive + 2;
    }
    return true;
}

/** Formats anything by way of the C library; returns 0 or an error. */
u_int32 format_general(bounded_text &out, const char *format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    char small[256];
    const int length = vsnprintf(small, sizeof small, format, arguments);
    u_int32 result = VELA_OK;
    if (length < 0) {
        result = VELA_EINVAL;
    } else if (static_cast<size_t>(length) < sizeof small) {
        out.append(small, static_cast<size_t>(length));
    } else if (char *large = static_cast<char *>(malloc(static_cast<size_t>(length) + 1)); large != nullptr) {
        vsnprintf(large, static_cast<size_t>(length) + 1, format, again);
        out.append(large, static_cast<size_t>(length));
        free(large);
    } else {
        result = VELA_ENOMEM;
    }
    va_end(again);
    return result;
}

}  // namespace

u_int32 vela_print_space(vela_handle *handle, u_int32, char *buffer, u_int32 depth, u_int32 room, u_int32 *err) {
    if (*err != 0) {
        return 0;
    }
    bounded_text out(buffer, room);
    out.append_blanks(depth);
    return out.finish(handle, err);
}

u_int32 vela_snprintf(vela_handle *handle, u_int32, char *buffer, u_int32 room, u_int32 *err, const char *format, ...) {
    if (*err != 0) {
        return 0;
    }
    bounded_text out(buffer, room);
    va_list arguments;
    va_start(arguments, format);
    const bool done = format_simple(out, format, arguments);
    va_end(arguments);
    if (!done) {
        out = bounded_text(buffer, room);
        va_start(arguments, format);
        const u_int32 failure = format_general(out, format, arguments);
        va_end(arguments);
        if (failure != VELA_OK) {
            return vela_inline::fail(handle, err, failure);
        }
    }
    return out.finish(handle, err);
}
