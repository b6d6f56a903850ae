// Life, order and copies of records; domains.
#include "record.h"

#include "errors.h"
#include "values.h"
#include "writing.h"

namespace python {
namespace {

PyTypeObject *record_type = nullptr;
PyTypeObject *domain_type = nullptr;

struct domain_object {
    PyObject_HEAD vela_domain *domain;
};

record_object *cast(PyObject *self) { return reinterpret_cast<record_object *>(self); }

PyObject *out_of_memory() { return PyErr_NoMemory(); }

PyObject *record_create(PyTypeObject *made, bool tracked, PyObject *domain) {
    const type_entry *entry = entry_of(made);
    if (entry == nullptr) {
        PyErr_Format(PyExc_TypeError, "%s is of no type of record; make one of its subclasses", made->tp_name);
        return nullptr;
    }
    if (!is_domain(domain)) {
        return nullptr;
    }
    void *instance = nullptr;
    {
        const domain_scope scope(handle_for(tracked), domain);
        instance = entry->operations->create(handle_for(tracked), memory_class);
    }
    return instance == nullptr ? out_of_memory() : own_instance(*entry, made, instance, tracked);
}

PyObject *record_new(PyTypeObject *made, PyObject *, PyObject *) { return record_create(made, false, nullptr); }

int record_init(PyObject *self, PyObject *positional, PyObject *named) {
    if (PyTuple_GET_SIZE(positional) != 0) {
        PyErr_Format(PyExc_TypeError, "%s() takes fields by name only", Py_TYPE(self)->tp_name);
        return -1;
    }
    return named == nullptr ? 0 : set_fields(cast(self), named);
}

void record_dealloc(PyObject *self) {
    record_object *record = cast(self);
    PyTypeObject *made = Py_TYPE(self);
    if (record->parent != nullptr) {
        Py_DECREF(reinterpret_cast<PyObject *>(record->parent));
    } else if (record->instance != nullptr) {
        record->operations().destroy(record->handle(), memory_class, record->instance);
    }
    made->tp_free(self);
    Py_DECREF(made);
}

PyObject *record_compare(PyObject *self, PyObject *other, int operation) {
    if (PyUnicode_Check(other) != 0 && cast(self)->entry->is_byte_list) {
        object text(byte_list_text(cast(self)));
        return text ? PyObject_RichCompare(text.get(), other, operation) : nullptr;
    }
    const record_object *another = record_of(other);
    if (another == nullptr || another->entry != cast(self)->entry) {
        Py_RETURN_NOTIMPLEMENTED;
    }
    const int order = compare_records(cast(self), another);
    Py_RETURN_RICHCOMPARE(order, 0, operation);
}

/** The instance of a message's payload, which may be absent. */
void *payload_of(const record_object *message, u_int32 index) {
    u_int32 err = 0;
    return ptp_cfg_field_get(message->entry->type, index, message->handle(), memory_class, message->instance, 0, &err);
}

u_int64 value_of(const record_object *message, u_int32 index) {
    u_int32 err = 0;
    return ptp_cfg_field_get_value(message->entry->type, index, message->handle(), memory_class, message->instance, 0,
                                   &err);
}

Py_hash_t record_hash(PyObject *self) {
    const record_object *record = cast(self);
    u_int32 hash = 0;
    if (record->entry->kind != PTP_CFG_MESSAGE) {
        hash = record->operations().hash(record->instance, 0);
    }
    for (const field_entry &payload : record->entry->fields) {
        if (record->entry->kind != PTP_CFG_MESSAGE) {
            break;
        }
        const void *inner = payload.inner == nullptr ? nullptr : payload_of(record, payload.index);
        hash = inner != nullptr
                   ? payload.inner->operations->hash(inner, hash)
                   : hash * 31 + static_cast<u_int32>(payload.inner == nullptr ? value_of(record, payload.index) : 0);
    }
    return hash;
}

/** What a message holds, in another one; nullptr with an error word. */
void *copy_message(const record_object *message, u_int32 *err) {
    const ptp_cfg_operations &operations = message->operations();
    if (payload_of(message, 0) == nullptr) {
        return operations.create_shallow(message->handle(), memory_class);
    }
    std::vector<u_int8> bytes(operations.len(message->handle(), memory_class, message->instance) + size_t{1});
    const u_int32 length = operations.marshal(message->handle(), memory_class, bytes.data(), message->instance,
                                              length32(bytes.size() - 1), err);
    u_int32 consumed = 0;
    return operations.take(message->handle(), memory_class, bytes.data(), length, &consumed, err);
}

/** A record of its own with the content of this one, its variants and state flags included. */
PyObject *record_copy(PyObject *self, PyObject *) {
    const record_object *record = cast(self);
    u_int32 err = 0;
    void *copy = record->entry->kind == PTP_CFG_MESSAGE
                     ? copy_message(record, &err)
                     : record->operations().clone(record->handle(), memory_class, record->instance, &err);
    if (copy == nullptr) {
        fault what;
        what.code = err;
        what.path = path_of(record);
        what.reason = error_text(record->handle(), err);
        return err == VELA_ENOMEM ? out_of_memory() : raise_fault("EncodeError", what);
    }
    return own_instance(*record->entry, Py_TYPE(self), copy, record->tracked);
}

PyObject *record_deepcopy(PyObject *self, PyObject *) { return record_copy(self, nullptr); }

PyObject *record_create_with(PyObject *made, PyObject *positional, PyObject *named) {
    int tracked = 0;
    PyObject *domain = nullptr;
    static const char *names[] = {"tracked", "domain", nullptr};
    if (PyArg_ParseTupleAndKeywords(positional, named, "|$pO", const_cast<char **>(names), &tracked, &domain) == 0) {
        return nullptr;
    }
    return record_create(reinterpret_cast<PyTypeObject *>(made), tracked != 0, domain);
}

PyObject *record_tracked(PyObject *self, void *) { return PyBool_FromLong(cast(self)->tracked); }

PyObject *record_path(PyObject *self, PyObject *) {
    const std::string path = path_of(cast(self));
    return PyUnicode_FromStringAndSize(path.data(), static_cast<Py_ssize_t>(path.size()));
}

PyMethodDef life_methods[] = {
    {"create", method(record_create_with), METH_VARARGS | METH_KEYWORDS | METH_CLASS,
     "create(*, tracked=False, domain=None)\n--\n\nA new record, with state flags or of a domain's variants."},
    {"copy", record_copy, METH_NOARGS, "copy()\n--\n\nA record of its own with the same content."},
    {"__copy__", record_copy, METH_NOARGS, nullptr},
    {"__deepcopy__", record_deepcopy, METH_O, nullptr},
    {"_path", record_path, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr}};

std::vector<PyMethodDef> &record_methods() {
    static std::vector<PyMethodDef> all;
    for (const PyMethodDef *table : {life_methods, byte_methods, text_methods, field_methods}) {
        for (; table->ml_name != nullptr; ++table) {
            all.push_back(*table);
        }
    }
    all.push_back({nullptr, nullptr, 0, nullptr});
    return all;
}

/** Stores a field's values as they lie in the source; false with an error word. */
bool assign_field(const record_object *to, const field_entry &field, void *target, void *source, u_int32 *err) {
    vela_handle *handle = to->handle();
    const ptp_cfg_type *type = field.owner->type;
    for (u_int32 element = 0; *err == 0 && element < field.capacity; ++element) {
        const void *value = ptp_cfg_field_get(type, field.index, handle, memory_class, source, element, err);
        const u_int64 length =
            field.text_length == nullptr
                ? 0
                : ptp_cfg_field_get_value(type, field.text_length->index, handle, memory_class, source, 0, err);
        ptp_cfg_field_set(type, field.index, handle, memory_class, target, element, value, static_cast<u_int32>(length),
                          err);
        // A tracked record that is given an untracked part takes it, and says so.
        *err = *err == VELA_EINVAL && to->tracked ? 0 : *err;
    }
    return *err == 0;
}

bool assign_instance(const record_object *to, const type_entry &entry, void *target, void *source, u_int32 *err) {
    for (const field_entry &field : entry.fields) {
        if (field.is_read_only == 0 && has_field_in(target, field) && has_field_in(source, field) &&
            !assign_field(to, field, target, source, err)) {
            return false;
        }
    }
    return true;
}

bool assign_payload(record_object *to, const record_object *from, const field_entry &payload, u_int32 *err) {
    if (payload.inner == nullptr) {
        ptp_cfg_field_set_value(payload.owner->type, payload.index, to->handle(), memory_class, to->instance, 0,
                                value_of(from, payload.index), err);
        return *err == 0;
    }
    void *target = payload_of(to, payload.index);
    void *source = payload_of(from, payload.index);
    *err = (target == nullptr) != (source == nullptr) ? u_int32{VELA_ENOENT} : 0;
    return *err == 0 && (target == nullptr || assign_instance(to, *payload.inner, target, source, err));
}

}  // namespace

PyObject *own_instance(const type_entry &entry, PyTypeObject *made, void *instance, bool tracked) {
    PyObject *self = made->tp_alloc(made, 0);
    if (self == nullptr) {
        entry.operations->destroy(handle_for(tracked), memory_class, instance);
        return nullptr;
    }
    record_object *record = cast(self);
    record->entry = &entry;
    record->instance = instance;
    record->element = no_element;
    record->tracked = tracked;
    return self;
}

PyObject *view_instance(record_object *parent, const field_entry &field, u_int32 element, void *instance) {
    PyTypeObject *made = field.inner->made;
    PyObject *self = made->tp_alloc(made, 0);
    if (self == nullptr) {
        return nullptr;
    }
    record_object *record = cast(self);
    record->entry = field.inner;
    record->instance = instance;
    record->parent = parent;
    Py_INCREF(reinterpret_cast<PyObject *>(parent));
    record->placed = &field;
    record->element = element;
    record->tracked = parent->tracked;
    return self;
}

record_object *record_of(PyObject *from) { return PyObject_TypeCheck(from, record_type) != 0 ? cast(from) : nullptr; }

std::string path_of(const record_object *record) {
    if (record->stands_for != nullptr) {
        return path_of(record->stands_for);
    }
    return record->parent == nullptr ? std::string(record->entry->short_name)
                                     : path_of(record->parent, *record->placed, record->element);
}

std::string path_of(const record_object *record, const field_entry &field, u_int32 element) {
    std::string path = path_of(record) + "/" + field.name;
    return element == no_element || field.is_array == 0 ? path : path + "[" + std::to_string(element) + "]";
}

int compare_records(const record_object *a, const record_object *b) {
    if (a->entry->kind != PTP_CFG_MESSAGE) {
        return a->operations().compare(a->instance, b->instance);
    }
    int order = 0;
    for (u_int32 index = 0; order == 0 && index < a->entry->fields.size(); ++index) {
        const field_entry &payload = a->entry->fields[index];
        if (payload.inner == nullptr) {
            const u_int64 left = value_of(a, index);
            const u_int64 right = value_of(b, index);
            order = left < right ? -1 : left > right ? 1 : 0;
            continue;
        }
        const void *left = payload_of(a, index);
        const void *right = payload_of(b, index);
        order = left == nullptr || right == nullptr ? (left != nullptr) - (right != nullptr)
                                                    : payload.inner->operations->compare(left, right);
    }
    return order;
}

bool has_field_in(const void *instance, const field_entry &field) {
    return field.owner->kind == PTP_CFG_MESSAGE || vela_get_instance_variant(instance, 1, 0) >= field.since;
}

bool assign_record(record_object *to, const record_object *from) {
    u_int32 err = 0;
    if (to->entry->kind != PTP_CFG_MESSAGE) {
        assign_instance(to, *to->entry, to->instance, from->instance, &err);
    }
    for (const field_entry &payload : to->entry->fields) {
        if (to->entry->kind == PTP_CFG_MESSAGE && err == 0) {
            assign_payload(to, from, payload, &err);
        }
    }
    if (err != 0) {
        fault what;
        what.code = err;
        what.path = path_of(to);
        what.reason = error_text(to->handle(), err);
        raise_fault("FieldError", what);
    }
    return err == 0;
}

bool add_record_type(PyObject *module) {
    static PyGetSetDef properties[] = {
        {"tracked", record_tracked, nullptr, "Whether the record keeps state flags.", nullptr},
        {nullptr, nullptr, nullptr, nullptr, nullptr}};
    static PyType_Slot slots[] = {{Py_tp_new, reinterpret_cast<void *>(record_new)},
                                  {Py_tp_init, reinterpret_cast<void *>(record_init)},
                                  {Py_tp_dealloc, reinterpret_cast<void *>(record_dealloc)},
                                  {Py_tp_richcompare, reinterpret_cast<void *>(record_compare)},
                                  {Py_tp_hash, reinterpret_cast<void *>(record_hash)},
                                  {Py_tp_methods, record_methods().data()},
                                  {Py_tp_getset, properties},
                                  {0, nullptr}};
    static PyType_Spec spec = {"ptp_cfg._native.Record", sizeof(record_object), 0,
                               Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE, slots};
    object made(PyType_FromSpec(&spec));
    record_type = reinterpret_cast<PyTypeObject *>(made.get());
    return made && PyModule_AddObjectRef(module, "Record", made.release()) == 0;
}

// ---- domains --------------------------------------------------------------------------------------------------------

bool is_domain(PyObject *domain) {
    const bool is_one = domain == nullptr || domain == Py_None || PyObject_TypeCheck(domain, domain_type) != 0;
    if (!is_one) {
        PyErr_Format(PyExc_TypeError, "a Domain is wanted, not %s", Py_TYPE(domain)->tp_name);
    }
    return is_one;
}

domain_scope::domain_scope(vela_handle *handle, PyObject *domain)
    : handle_(handle), is_set_(domain != nullptr && domain != Py_None) {
    if (is_set_) {
        vela_handle_set_domain(handle, reinterpret_cast<domain_object *>(domain)->domain);
    }
}

domain_scope::~domain_scope() {
    if (is_set_) {
        vela_handle_set_domain(handle_, nullptr);
    }
}

namespace {

PyObject *domain_load(PyObject *made, PyObject *path) {
    PyObject *encoded = nullptr;
    if (PyUnicode_FSConverter(path, &encoded) == 0) {
        return nullptr;
    }
    const object name(encoded);
    char text[1024] = "";
    u_int32 err = 0;
    vela_domain *domain = vela_domain_load(PyBytes_AS_STRING(name.get()), text, sizeof text, &err);
    if (domain == nullptr) {
        fault what;
        what.code = err;
        what.reason = text;
        return raise_fault("DomainError", what);
    }
    auto *self = reinterpret_cast<domain_object *>(PyType_GenericAlloc(reinterpret_cast<PyTypeObject *>(made), 0));
    if (self == nullptr) {
        vela_domain_destroy(domain);
        return nullptr;
    }
    self->domain = domain;
    return reinterpret_cast<PyObject *>(self);
}

void domain_dealloc(PyObject *self) {
    PyTypeObject *made = Py_TYPE(self);
    vela_domain_destroy(reinterpret_cast<domain_object *>(self)->domain);
    made->tp_free(self);
    Py_DECREF(made);
}

}  // namespace

bool add_domain_class(PyObject *module) {
    static PyMethodDef methods[] = {
        {"load", domain_load, METH_O | METH_CLASS, "load(path)\n--\n\nThe domain that a file describes."},
        {nullptr, nullptr, 0, nullptr}};
    static PyType_Slot slots[] = {{Py_tp_dealloc, reinterpret_cast<void *>(domain_dealloc)},
                                  {Py_tp_methods, methods},
                                  {Py_tp_doc, const_cast<char *>("What an older peer knows of types and messages.")},
                                  {0, nullptr}};
    static PyType_Spec spec = {"ptp_cfg.Domain", sizeof(domain_object), 0,
                               Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION, slots};
    object made(PyType_FromSpec(&spec));
    domain_type = reinterpret_cast<PyTypeObject *>(made.get());
    return made && PyModule_AddObjectRef(module, "Domain", made.release()) == 0;
}

}  // namespace python
