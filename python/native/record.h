// Records: an instance of the library with the object that owns it.
#pragma once

#include "types.h"

namespace python {

/** The element of a field that is no array, or stands for all of them. */
constexpr u_int32 no_element = 0xFFFFFFFF;

/**
 * A record, or a view of one within another. A view keeps its parent alive, whose instance its own lies in, and knows
 * its place there for the paths of errors.
 */
struct record_object {
    PyObject_HEAD const type_entry *entry;
    void *instance;
    record_object *parent;      // nullptr: it owns the instance
    const field_entry *placed;  // where in the parent
    u_int32 element;
    const record_object *stands_for;  // of a copy that is changed in its place: what errors name
    bool tracked;                     // state flags are kept

    vela_handle *handle() const { return handle_for(tracked); }
    const ptp_cfg_operations &operations() const { return *entry->operations; }
};

/** Makes the object of an instance, which it takes over, also on failure. */
PyObject *own_instance(const type_entry &entry, PyTypeObject *made, void *instance, bool tracked);
/** A view of what a field, or an element of it, holds. */
PyObject *view_instance(record_object *parent, const field_entry &field, u_int32 element, void *instance);

/** The record that an object is; nullptr, without an error, for another object. */
record_object *record_of(PyObject *from);

/** A name of a field in it, and what is above that, as in ptp_clock/default_data_set/clk_domain. */
std::string path_of(const record_object *record);
std::string path_of(const record_object *record, const field_entry &field, u_int32 element);

/** Whether an object may be given as a domain: one, None or NULL for the newest variants; else a TypeError is raised. */
bool is_domain(PyObject *domain);

/** Speaks a domain, which is one, while it lives. No code in Python may run meanwhile: all threads share the handle. */
class domain_scope {
  public:
    domain_scope(vela_handle *handle, PyObject *domain);
    ~domain_scope();
    domain_scope(const domain_scope &) = delete;
    domain_scope &operator=(const domain_scope &) = delete;

  private:
    vela_handle *handle_;
    bool is_set_ = false;
};

/** Add the class that all records derive from, and that of domains, to a module. */
bool add_record_type(PyObject *module);
bool add_domain_class(PyObject *module);

/** Whether an instance's variant has a field. */
bool has_field_in(const void *instance, const field_entry &field);

/** Copies what a record holds over another of its type; false with a Python error. */
bool assign_record(record_object *to, const record_object *from);

/** Compares two records of one type, as the library orders them. */
int compare_records(const record_object *a, const record_object *b);

/** decode(data), explain(data, type) and identify_json(text) of the module. */
PyObject *decode_any(PyObject *module, PyObject *data);
PyObject *explain_bytes(PyObject *module, PyObject *arguments);
PyObject *identify_json(PyObject *module, PyObject *text);

/** The methods of a record about its fields. */
extern PyMethodDef field_methods[];

}  // namespace python
