// The calls that text operations of primitives and strings share.
#pragma once

#include "values/bounded_text.h"
#include "velalib/runtime.h"

namespace velalib {

using values::bounded_text;

/** Where a value is read from in a document, and where an explanation of a failure goes. */
struct xml_source {
    const char *path;
    vela_xml_document *document;
    char *error_text;  // nullptr: none wanted
    u_int32 error_room;
};

/** Begins a printed line: blanks and LABEL@TYPE: */
void begin_line(bounded_text &out, u_int32 indent, const char *label, const char *type_name);

/**
 * The text of a source's element. Absence only stores 2 in *err, which a reader of a record absorbs; other failures
 * also go to the handle and are explained.
 * @return nullptr on failure
 */
const char *read_text(vela_handle *handle, const xml_source &source, u_int32 *err);

/** Refuses what was read: stores a code and "element PATH: ..." with what is wrong. */
void refuse(vela_handle *handle, const xml_source &source, u_int32 code, u_int32 *err, const char *format, ...)
    VELA_PRINTF(5, 6);

}  // namespace velalib
