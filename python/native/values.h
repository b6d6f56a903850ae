// Fields as Python values, and back.
#pragma once

#include "record.h"
#include "velalib_inline.h"

namespace python {

/** How the values of a primitive are written. */
struct text_form {
    const char *type;
    size_t size;
    const char *accepted;
    void (*write)(values::bounded_text &text, const void *value);
    bool (*read)(std::string_view text, void *value);
};

/** The value of a field or of one element; a view where it is a structure, an array object for a whole array. */
PyObject *get_field(record_object *record, const field_entry &field);
PyObject *get_element(record_object *record, const field_entry &field, u_int32 element);

/** Store a value; -1 with a Python error that names the field, and the field as before. */
int set_field(record_object *record, const field_entry &field, PyObject *value);
int set_element(record_object *record, const field_entry &field, u_int32 element, PyObject *value);
/** Stores all elements of an array. */
int set_array(record_object *record, const field_entry &field, PyObject *values);

/** Stores fields by their names from a mapping; -1 with a Python error. */
int set_fields(record_object *record, PyObject *mapping);

/** The same with all of them set, or after an error none. */
int set_together(record_object *record, PyObject *mapping);

/** Raise that a field cannot be used, or that there is none of a name. */
PyObject *raise_access(const record_object *record, const field_entry &field, u_int32 element, u_int32 err);
int raise_unknown(const record_object *record, const std::string &name);

/** "AA-BB-CC-...", as structures of bytes alone are shown. */
PyObject *byte_list_text(const record_object *record);

/** How people write the values of a primitive; nullptr when there is none of that name. */
const text_form *text_form_of(const char *type_name);

bool add_array_class(PyObject *module);
PyObject *new_array(record_object *record, const field_entry &field);

/** The property of a field. */
PyObject *property_of(PyTypeObject *made, const field_entry &field);

}  // namespace python
