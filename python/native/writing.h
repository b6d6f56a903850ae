// Room in which records are written before they become Python's.
#pragma once

#include "errors.h"
#include "record.h"

namespace python {

constexpr size_t longest_written = 64 * 1024 * 1024;

/** The room; used under the interpreter's lock. */
std::string &scratch();

PyObject *raise_library(const char *kind, const record_object *record, u_int32 err);

/** The type that a class is of; nullptr with a TypeError. */
const type_entry *entry_of_class(PyObject *made);

/** Has an operation write into as much room as it needs; false with a Python error. */
template <typename operation>
bool write_record(const record_object *record, const char *kind, size_t *length, operation call) {
    std::string &room = scratch();
    for (;;) {
        u_int32 err = 0;
        // A tracked encoding may store one byte behind a full buffer.
        *length = call(room.data(), static_cast<u_int32>(room.size() - 1), &err);
        if (err == 0) {
            return true;
        }
        if (err != VELA_EMSGSIZE || room.size() >= longest_written) {
            raise_library(kind, record, err);
            return false;
        }
        room.resize(room.size() * 4, ' ');
    }
}

/** The methods of a record about bytes and about text. */
extern PyMethodDef byte_methods[];
extern PyMethodDef text_methods[];

}  // namespace python
