// Arrays as sequences; those of numbers lend their memory, too.
#include <cstring>

#include "values.h"

namespace python {
namespace {

/** An array of a record, which it keeps alive. */
struct array_object {
    PyObject_HEAD record_object *record;
    const field_entry *field;
};

PyTypeObject *array_type = nullptr;

const array_object *cast(PyObject *self) { return reinterpret_cast<const array_object *>(self); }
PyObject *base(record_object *record) { return reinterpret_cast<PyObject *>(record); }

void array_dealloc(PyObject *self) {
    PyTypeObject *made = Py_TYPE(self);
    Py_DECREF(base(cast(self)->record));
    made->tp_free(self);
    Py_DECREF(made);
}

Py_ssize_t array_length(PyObject *self) { return cast(self)->field->capacity; }

/** Whether an index is one of the array, after a negative one was counted from its end. */
bool find_element(PyObject *self, Py_ssize_t index, u_int32 *element) {
    const Py_ssize_t count = array_length(self);
    if (index < 0 || index >= count) {
        PyErr_Format(PyExc_IndexError, "%s has the elements 0 to %zd", cast(self)->field->name, count - 1);
        return false;
    }
    *element = static_cast<u_int32>(index);
    return true;
}

PyObject *array_item(PyObject *self, Py_ssize_t index) {
    u_int32 element = 0;
    return find_element(self, index, &element) ? get_element(cast(self)->record, *cast(self)->field, element) : nullptr;
}

PyObject *array_subscript(PyObject *self, PyObject *key) {
    if (PySlice_Check(key) != 0) {
        const object all(PySequence_List(self));
        return all ? PyObject_GetItem(all.get(), key) : nullptr;
    }
    const Py_ssize_t index = PyNumber_AsSsize_t(key, PyExc_IndexError);
    if (index == -1 && PyErr_Occurred() != nullptr) {
        return nullptr;
    }
    return array_item(self, index < 0 ? index + array_length(self) : index);
}

int array_assign(PyObject *self, PyObject *key, PyObject *value) {
    if (value == nullptr) {
        PyErr_SetString(PyExc_TypeError, "an array keeps its number of elements");
        return -1;
    }
    if (PySlice_Check(key) != 0) {
        const object all(PySequence_List(self));
        if (!all || PyObject_SetItem(all.get(), key, value) != 0) {
            return -1;
        }
        return set_array(cast(self)->record, *cast(self)->field, all.get());
    }
    Py_ssize_t index = PyNumber_AsSsize_t(key, PyExc_IndexError);
    if (index == -1 && PyErr_Occurred() != nullptr) {
        return -1;
    }
    index = index < 0 ? index + array_length(self) : index;
    u_int32 element = 0;
    return find_element(self, index, &element) ? set_element(cast(self)->record, *cast(self)->field, element, value)
                                               : -1;
}

PyObject *array_compare(PyObject *self, PyObject *other, int operation) {
    if (PySequence_Check(other) == 0 || PyUnicode_Check(other) != 0) {
        Py_RETURN_NOTIMPLEMENTED;
    }
    const object own(PySequence_List(self));
    const object others(PySequence_List(other));
    return own && others ? PyObject_RichCompare(own.get(), others.get(), operation) : nullptr;
}

PyObject *array_repr(PyObject *self) {
    const object all(PySequence_List(self));
    return all ? PyObject_Repr(all.get()) : nullptr;
}

PyObject *array_index(PyObject *self, PyObject *value) {
    const Py_ssize_t index = PySequence_Index(self, value);
    return index < 0 ? nullptr : PyLong_FromSsize_t(index);
}

PyObject *array_count(PyObject *self, PyObject *value) {
    const Py_ssize_t count = PySequence_Count(self, value);
    return count < 0 ? nullptr : PyLong_FromSsize_t(count);
}

const char *format_of(const field_entry &field) {
    const bool has_sign = field.kind == PTP_CFG_FIELD_SIGNED;
    switch (field.kind == PTP_CFG_FIELD_UNSIGNED || has_sign ? field.element_size : 0) {
        case 1:
            return has_sign ? "b" : "B";
        case 2:
            return has_sign ? "h" : "H";
        case 4:
            return has_sign ? "i" : "I";
        case 8:
            return has_sign ? "q" : "Q";
        default:
            return nullptr;
    }
}

/** Lends the numbers for reading: stores go through the library, which tells others of them. */
int array_lend(PyObject *self, Py_buffer *view, int flags) {
    const array_object *array = cast(self);
    u_int32 err = 0;
    const char *format = format_of(*array->field);
    void *numbers = format == nullptr
                        ? nullptr
                        : ptp_cfg_field_get(array->field->owner->type, array->field->index, array->record->handle(),
                                            memory_class, array->record->instance, 0, &err);
    view->obj = nullptr;
    if (numbers == nullptr || (flags & PyBUF_WRITABLE) != 0) {
        PyErr_Format(PyExc_BufferError, "%s is not lent %s", array->field->name,
                     numbers == nullptr ? "as memory: it holds no numbers" : "for writing");
        return -1;
    }
    const Py_ssize_t size = array->field->element_size;
    if (PyBuffer_FillInfo(view, self, numbers, size * array_length(self), 1, flags) != 0) {
        return -1;
    }
    view->itemsize = size;
    view->format = (flags & PyBUF_FORMAT) != 0 ? const_cast<char *>(format) : nullptr;
    if ((flags & PyBUF_ND) != 0) {
        view->internal = PyMem_Malloc(sizeof(Py_ssize_t));
        view->shape = static_cast<Py_ssize_t *>(view->internal);
        if (view->shape == nullptr) {
            PyBuffer_Release(view);
            PyErr_NoMemory();
            return -1;
        }
        *view->shape = array_length(self);
        view->strides = (flags & PyBUF_STRIDES) == PyBUF_STRIDES ? &view->itemsize : nullptr;
    }
    return 0;
}

void array_take_back(PyObject *, Py_buffer *view) { PyMem_Free(view->internal); }

PyMethodDef methods[] = {
    {"index", array_index, METH_O, nullptr}, {"count", array_count, METH_O, nullptr}, {nullptr, nullptr, 0, nullptr}};

}  // namespace

PyObject *new_array(record_object *record, const field_entry &field) {
    u_int32 err = 0;
    ptp_cfg_field_get(field.owner->type, field.index, record->handle(), memory_class, record->instance, 0, &err);
    if (err != 0) {
        return get_element(record, field, 0);  // says what is wrong
    }
    PyObject *self = array_type->tp_alloc(array_type, 0);
    if (self != nullptr) {
        auto *array = reinterpret_cast<array_object *>(self);
        array->record = record;
        array->field = &field;
        Py_INCREF(base(record));
    }
    return self;
}

bool add_array_class(PyObject *module) {
    static PyType_Slot slots[] = {{Py_tp_dealloc, reinterpret_cast<void *>(array_dealloc)},
                                  {Py_sq_length, reinterpret_cast<void *>(array_length)},
                                  {Py_sq_item, reinterpret_cast<void *>(array_item)},
                                  {Py_mp_length, reinterpret_cast<void *>(array_length)},
                                  {Py_mp_subscript, reinterpret_cast<void *>(array_subscript)},
                                  {Py_mp_ass_subscript, reinterpret_cast<void *>(array_assign)},
                                  {Py_tp_richcompare, reinterpret_cast<void *>(array_compare)},
                                  {Py_tp_hash, reinterpret_cast<void *>(PyObject_HashNotImplemented)},
                                  {Py_tp_repr, reinterpret_cast<void *>(array_repr)},
                                  {Py_bf_getbuffer, reinterpret_cast<void *>(array_lend)},
                                  {Py_bf_releasebuffer, reinterpret_cast<void *>(array_take_back)},
                                  {Py_tp_methods, methods},
                                  {Py_tp_doc, const_cast<char *>("An array within a record.")},
                                  {0, nullptr}};
    static PyType_Spec spec = {"ptp_cfg._native.Array", sizeof(array_object), 0,
                               Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION | Py_TPFLAGS_SEQUENCE, slots};
    object made(PyType_FromSpec(&spec));
    array_type = reinterpret_cast<PyTypeObject *>(made.get());
    return made && PyModule_AddObjectRef(module, "Array", made.release()) == 0;
}

}  // namespace python
