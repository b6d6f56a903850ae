// What reading values from XML shares: finding a text, refusing it.
#include <cstdarg>
#include <cstdio>

#include "text_io.h"
#include "xml_document.h"

namespace velalib {

const char *read_text(vela_handle *handle, const xml_source &source, u_int32 *err) {
    const char *text = nullptr;
    const u_int32 result = find_text(source.document, source.path, &text);
    if (result == VELA_ENOENT) {
        *err = VELA_ENOENT;
        return nullptr;
    }
    if (result == VELA_ENOMEM) {
        refuse(handle, source, result, err, "no memory to read it");
    } else if (result != VELA_OK) {
        refuse(handle, source, result, err, "no document, or not a path");
    }
    return text;
}

void refuse(vela_handle *handle, const xml_source &source, u_int32 code, u_int32 *err, const char *format, ...) {
    vela_inline::fail(handle, err, code);
    if (source.error_text == nullptr || source.error_room == 0) {
        return;
    }
    const char *path = source.path != nullptr ? source.path : "";
    const int written = snprintf(source.error_text, source.error_room, "element %s: ", path);
    if (written < 0 || static_cast<u_int32>(written) >= source.error_room) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(source.error_text + written, source.error_room - static_cast<u_int32>(written), format, arguments);
    va_end(arguments);
}

}  // namespace velalib
