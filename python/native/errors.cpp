// Makes exceptions of ptp_cfg.errors with what is known of a fault.
#include "errors.h"

#include "record.h"
#include "velalib/error_text.h"

namespace python {
namespace {

fault field_fault(const record_object *record, const field_entry &field, u_int32 element, u_int32 code,
                  const std::string &reason) {
    fault what;
    what.code = code;
    what.path = path_of(record, field, element);
    what.reason = reason;
    return what;
}

}  // namespace

PyObject *raise_fault(const char *kind, const fault &what) {
    object errors(PyImport_ImportModule("ptp_cfg.errors"));
    object type(errors ? PyObject_GetAttrString(errors.get(), kind) : nullptr);
    object arguments(type ? Py_BuildValue("(N)", text_object(what.reason)) : nullptr);
    const char *name = vela_error_name(what.code);
    object named(arguments
                     ? Py_BuildValue("{sIszsNsLsIsI}", "code", what.code, "name", name, "path", text_object(what.path),
                                     "offset", what.offset, "line", what.line, "column", what.column)
                     : nullptr);
    object exception(named ? PyObject_Call(type.get(), arguments.get(), named.get()) : nullptr);
    if (exception) {
        PyErr_SetObject(type.get(), exception.get());
    }
    return nullptr;
}

PyObject *raise_field(const record_object *record, const field_entry &field, u_int32 element, u_int32 code,
                      const std::string &reason) {
    return raise_fault("FieldError", field_fault(record, field, element, code, reason));
}

PyObject *raise_field_type(const record_object *record, const field_entry &field, u_int32 element,
                           const std::string &reason) {
    return raise_fault("FieldTypeError", field_fault(record, field, element, VELA_EINVAL, reason));
}

std::string error_text(vela_handle *handle, u_int32 code) {
    char text[512];
    vela_error_text(handle, code, text, sizeof text);
    return text;
}

}  // namespace python
