// The types of the library as Python sees them: reflection read once, and the class made of each.
#pragma once

#include <vector>

#include "objects.h"
#include "ptp_cfg/reflect.h"

namespace python {

struct type_entry;
struct text_form;

/** A field of a structure or payload of a message: what a property needs to get and set it. */
struct field_entry : ptp_cfg_field_description {
    const type_entry *owner = nullptr;
    const type_entry *inner = nullptr;  // the structure or enumeration that it holds
    u_int32 index = 0;
    bool is_ipv4_number = false;
    const field_entry *text_length = nullptr;  // of a text
    const text_form *form = nullptr;           // of an opaque value: how it is written
    PyGetSetDef property{};
    PyObject *interned = nullptr;  // its name
};

struct type_entry : ptp_cfg_type_description {
    const ptp_cfg_type *type = nullptr;
    std::vector<field_entry> fields;
    bool is_byte_list = false;         // nothing but octets, such as an identity
    PyTypeObject *made = nullptr;      // the class of a structure or message
    object members;                    // of an enumeration: its members by number, a dict
    std::vector<PyObject *> numbered;  // the same for 0, 1, 2 ..., borrowed from it

    const field_entry *field_named(std::string_view wanted) const;
    /** The same by a str, which is an interned one as a rule; nullptr also for another object. */
    const field_entry *field_named(PyObject *wanted) const;
};

/** Reads all types; a Python error and false without memory. */
bool read_types();
const type_entry *entry_of(const ptp_cfg_type *type);

/** Creates the class of classes, which remember what they are made of, and adds it to a module. */
bool add_record_class(PyObject *module);
/** What a class was made of; nullptr for one of no type. */
const type_entry *entry_of(const PyTypeObject *made);

/** The handles of the package: one that tracks state, and one that does not. All use is under the interpreter's lock. */
bool create_handles();
vela_handle *handle_for(bool tracked);

/** describe_types() of the module: all that Python code makes classes of. */
PyObject *describe_types(PyObject *module, PyObject *none);
/** bind_enumeration(name, members) of the module: the members that fields of an enumeration are shown as. */
PyObject *bind_enumeration(PyObject *module, PyObject *arguments);
/** make_record_class(name, base, namespace) of the module: the class of a structure or message. */
PyObject *make_record_class(PyObject *module, PyObject *arguments);

}  // namespace python
