// Raising the package's exceptions. Each function returns nullptr, for `return raise_...`.
#pragma once

#include "types.h"

namespace python {

struct record_object;

/** What an exception tells; what is not known stays as it is. */
struct fault {
    u_int32 code = 0;
    std::string path;
    std::string reason;
    long long offset = -1;
    u_int32 line = 0;
    u_int32 column = 0;
};

/** @param kind  the name of a class in ptp_cfg.errors */
PyObject *raise_fault(const char *kind, const fault &what);

/** A value that a field does not take: FieldError, or FieldTypeError when it is of the wrong type. */
PyObject *raise_field(const record_object *record, const field_entry &field, u_int32 element, u_int32 code,
                      const std::string &reason);
PyObject *raise_field_type(const record_object *record, const field_entry &field, u_int32 element,
                           const std::string &reason);

/** What the library says of an error word of this handle's last call. */
std::string error_text(vela_handle *handle, u_int32 code);

}  // namespace python
