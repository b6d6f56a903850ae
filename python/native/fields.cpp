// The properties of fields, and the methods of records that are about them.
#include "errors.h"
#include "values.h"

namespace python {
namespace {

PyObject *get_place(PyObject *self, void *closure) {
    return get_field(reinterpret_cast<record_object *>(self), *static_cast<const field_entry *>(closure));
}

int set_place(PyObject *self, PyObject *value, void *closure) {
    const field_entry &field = *static_cast<const field_entry *>(closure);
    if (value == nullptr) {
        PyErr_Format(PyExc_AttributeError, "%s cannot be deleted", field.name);
        return -1;
    }
    return set_field(reinterpret_cast<record_object *>(self), field, value);
}

PyObject *record_update(PyObject *self, PyObject *positional, PyObject *named) {
    if (PyTuple_GET_SIZE(positional) != 0) {
        PyErr_SetString(PyExc_TypeError, "update() takes fields by name only");
        return nullptr;
    }
    auto *record = reinterpret_cast<record_object *>(self);
    if (named != nullptr && set_together(record, named) != 0) {
        return nullptr;
    }
    Py_RETURN_NONE;
}

}  // namespace

PyObject *property_of(PyTypeObject *made, const field_entry &field) {
    auto &property = const_cast<PyGetSetDef &>(field.property);
    property = {field.name, get_place, field.is_read_only != 0 ? nullptr : set_place, field.doc,
                const_cast<field_entry *>(&field)};
    return PyDescr_NewGetSet(made, &property);
}

namespace {

PyObject *record_byte_text(PyObject *self, PyObject *) {
    return byte_list_text(reinterpret_cast<record_object *>(self));
}

/** Whether the record's variant has a field of that name. */
PyObject *record_has(PyObject *self, PyObject *name) {
    const auto *record = reinterpret_cast<record_object *>(self);
    const char *wanted = PyUnicode_AsUTF8(name);
    const field_entry *field = wanted == nullptr ? nullptr : record->entry->field_named(wanted);
    return wanted == nullptr ? nullptr
                             : PyBool_FromLong(field != nullptr && has_field_in(record->instance, *field) ? 1 : 0);
}

/** The arguments of both calls about state flags: NAME, ELEMENT or None. */
const field_entry *flagged(record_object *record, const char *name, PyObject *element, u_int32 *at) {
    const field_entry *field = record->entry->field_named(name);
    if (field == nullptr) {
        raise_unknown(record, name);
        return nullptr;
    }
    *at = element == nullptr || element == Py_None ? field->is_array != 0 ? no_element : 0
                                                   : static_cast<u_int32>(PyLong_AsUnsignedLong(element));
    return PyErr_Occurred() == nullptr ? field : nullptr;
}

PyObject *record_state_flag(PyObject *self, PyObject *arguments) {
    auto *record = reinterpret_cast<record_object *>(self);
    const char *name = nullptr;
    PyObject *element = nullptr;
    u_int32 at = 0;
    u_int32 err = 0;
    if (PyArg_ParseTuple(arguments, "s|O", &name, &element) == 0) {
        return nullptr;
    }
    const field_entry *field = flagged(record, name, element, &at);
    if (field == nullptr) {
        return nullptr;
    }
    const u_int8 flag = ptp_cfg_field_state_flag_get(record->entry->type, field->index, record->handle(), memory_class,
                                                     record->instance, at, &err);
    return err != 0 ? raise_access(record, *field, at, err) : PyLong_FromLong(flag);
}

PyObject *record_set_state_flag(PyObject *self, PyObject *arguments) {
    auto *record = reinterpret_cast<record_object *>(self);
    const char *name = nullptr;
    unsigned char flag = 0;
    PyObject *element = nullptr;
    u_int32 at = 0;
    u_int32 err = 0;
    if (PyArg_ParseTuple(arguments, "sb|O", &name, &flag, &element) == 0) {
        return nullptr;
    }
    const field_entry *field = flagged(record, name, element, &at);
    if (field == nullptr) {
        return nullptr;
    }
    ptp_cfg_field_state_flag_set(record->entry->type, field->index, record->handle(), memory_class, record->instance,
                                 at, flag, &err);
    if (err != 0) {
        return raise_access(record, *field, at, err);
    }
    Py_RETURN_NONE;
}

}  // namespace

PyMethodDef field_methods[] = {
    {"update", method(record_update), METH_VARARGS | METH_KEYWORDS,
     "update(**fields)\n--\n\nSets several fields; all of them, or after an error none."},
    {"has", record_has, METH_O, "has(name)\n--\n\nWhether the record's variant has a field."},
    {"state_flag", record_state_flag, METH_VARARGS,
     "state_flag(name, element=None)\n--\n\nThe state flag of a field, of an element, or of a whole array."},
    {"set_state_flag", record_set_state_flag, METH_VARARGS,
     "set_state_flag(name, flag, element=None)\n--\n\nSets a state flag of a tracked record."},
    {"_byte_text", record_byte_text, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr}};

}  // namespace python
