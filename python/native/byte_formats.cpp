// Records as bytes, and back.
#include <algorithm>

#include "ptp_cfg/receive.h"
#include "wire.h"
#include "writing.h"

namespace python {
namespace {

constexpr size_t first_room = 65536;

record_object *cast(PyObject *self) { return reinterpret_cast<record_object *>(self); }

/** Arguments of calls that take one value and the keyword `domain`; false with a TypeError. */
bool take_domain(const char *call, PyObject *const *arguments, Py_ssize_t count, PyObject *names, Py_ssize_t wanted,
                 PyObject **domain) {
    const Py_ssize_t named = names == nullptr ? 0 : PyTuple_GET_SIZE(names);
    *domain = nullptr;
    if (count != wanted || named > 1 ||
        (named == 1 && PyUnicode_CompareWithASCIIString(PyTuple_GET_ITEM(names, 0), "domain") != 0)) {
        PyErr_Format(PyExc_TypeError, "%s() takes %zd argument and the keyword domain", call, wanted);
        return false;
    }
    *domain = named == 1 ? arguments[count] : nullptr;
    return true;
}

PyObject *to_bytes(PyObject *self, PyObject *const *arguments, Py_ssize_t count, PyObject *names) {
    const record_object *record = cast(self);
    PyObject *domain = nullptr;
    if (!take_domain("to_bytes", arguments, count, names, 0, &domain)) {
        return nullptr;
    }
    if (!is_domain(domain)) {
        return nullptr;
    }
    size_t length = 0;
    const auto marshal = [record, domain](char *buffer, u_int32 room, u_int32 *err) {
        const domain_scope scope(record->handle(), domain);
        return record->operations().marshal(record->handle(), memory_class, reinterpret_cast<u_int8 *>(buffer),
                                            record->instance, room, err);
    };
    if (!write_record(record, "EncodeError", &length, marshal)) {
        return nullptr;
    }
    return PyBytes_FromStringAndSize(scratch().data(), static_cast<Py_ssize_t>(length));
}

/** Where the encoding of a tracked record says so: in a structure's flags, in a message's header. */
bool is_tracked(const type_entry &entry, const lent_bytes &bytes) {
    return entry.kind == PTP_CFG_MESSAGE
               ? bytes.size() > ptpcfg::tracked_offset && bytes.octets()[ptpcfg::tracked_offset] != 0
               : bytes.size() > 1 && (bytes.octets()[1] & VELA_FLAG_TRACKED) != 0;
}

/** Says what is wrong with bytes that could not be decoded, and where. */
PyObject *raise_decode(const type_entry &entry, vela_handle *handle, const lent_bytes &bytes, u_int32 err) {
    fault what;
    what.code = err;
    what.path = entry.short_name;
    what.reason = error_text(handle, err);
    const ptpcfg::wire_walk walk =
        entry.kind == PTP_CFG_MESSAGE
            ? ptpcfg::walk_message(bytes.text(), 0, bytes.size(), ptpcfg::walk_result::problem)
            : ptpcfg::walk_type(bytes.text(), entry.type, ptpcfg::walk_result::problem);
    if (!walk.problem.empty()) {
        const size_t colon = walk.problem.find(": ");
        what.path = colon == std::string::npos ? what.path : walk.problem.substr(0, colon);
        what.reason = colon == std::string::npos ? walk.problem : walk.problem.substr(colon + 2);
        what.offset = static_cast<long long>(walk.problem_offset);
    }
    return raise_fault("DecodeError", what);
}

/** Decodes all bytes; nullptr with an error word. */
void *decode(const type_entry &entry, vela_handle *handle, const lent_bytes &bytes, u_int32 *err) {
    const ptp_cfg_operations &operations = *entry.operations;
    u_int32 consumed = 0;
    void *instance = nullptr;
    if (entry.kind == PTP_CFG_MESSAGE) {
        const ptp_cfg_type *type = ptp_cfg_message_identify(bytes.octets(), length32(bytes.size()));
        const u_int32 other = bytes.size() < PTP_CFG_MESSAGE_PREFIX ? VELA_EMSGSIZE : VELA_EINVAL;
        *err = type == entry.type ? 0 : other;
        instance = *err != 0
                       ? nullptr
                       : operations.take(handle, memory_class, bytes.octets(), length32(bytes.size()), &consumed, err);
    } else {
        instance = operations.create(handle, memory_class);
        *err = instance == nullptr ? u_int32{VELA_ENOMEM} : 0;
        consumed = operations.unmarshal(handle, memory_class, bytes.octets(), instance, length32(bytes.size()), err);
    }
    *err = *err == 0 && consumed != bytes.size() ? u_int32{VELA_EINVAL} : *err;
    if (*err != 0 && instance != nullptr) {
        operations.destroy(handle, memory_class, instance);
        instance = nullptr;
    }
    return instance;
}

PyObject *raise_other(const type_entry &entry, const ptp_cfg_type *found) {
    fault what;
    what.code = VELA_EINVAL;
    what.path = "identity";
    what.offset = VELA_WIRE_MESSAGE_HEADER;
    what.reason = std::string("this is a ") + entry_of(found)->short_name + ", not a " + entry.short_name;
    return raise_fault("DecodeError", what);
}

PyObject *decode_as(PyTypeObject *made, const type_entry &entry, PyObject *data, PyObject *domain) {
    const lent_bytes bytes(data);
    if (!bytes) {
        return nullptr;
    }
    const bool tracked = is_tracked(entry, bytes);
    vela_handle *handle = handle_for(tracked);
    if (!is_domain(domain)) {
        return nullptr;
    }
    u_int32 err = 0;
    void *instance = nullptr;
    {
        const domain_scope scope(handle, domain);
        instance = decode(entry, handle, bytes, &err);
    }
    if (instance != nullptr) {
        return own_instance(entry, made, instance, tracked);
    }
    const ptp_cfg_type *found =
        entry.kind == PTP_CFG_MESSAGE ? ptp_cfg_message_identify(bytes.octets(), length32(bytes.size())) : nullptr;
    return found != nullptr && found != entry.type ? raise_other(entry, found)
                                                   : raise_decode(entry, handle, bytes, err);
}

PyObject *from_bytes(PyObject *made, PyObject *const *arguments, Py_ssize_t count, PyObject *names) {
    PyObject *domain = nullptr;
    const type_entry *entry = entry_of_class(made);
    if (entry == nullptr || !take_domain("from_bytes", arguments, count, names, 1, &domain)) {
        return nullptr;
    }
    return decode_as(reinterpret_cast<PyTypeObject *>(made), *entry, arguments[0], domain);
}

}  // namespace

/** The room in which records are written before they become Python's; used by one thread at a time. */
std::string &scratch() {
    static std::string room(first_room, ' ');
    return room;
}

PyObject *raise_library(const char *kind, const record_object *record, u_int32 err) {
    fault what;
    what.code = err;
    what.path = path_of(record);
    what.reason = error_text(record->handle(), err);
    return raise_fault(kind, what);
}

const type_entry *entry_of_class(PyObject *made) {
    const type_entry *entry = entry_of(reinterpret_cast<PyTypeObject *>(made));
    if (entry == nullptr) {
        PyErr_SetString(PyExc_TypeError, "this class is of no type of record; call a subclass's");
    }
    return entry;
}

PyMethodDef byte_methods[] = {{"to_bytes", method(to_bytes), METH_FASTCALL | METH_KEYWORDS,
                               "to_bytes(*, domain=None)\n--\n\nThe record's encoding."},
                              {"from_bytes", method(from_bytes), METH_FASTCALL | METH_KEYWORDS | METH_CLASS,
                               "from_bytes(data, *, domain=None)\n--\n\nThe record that all of the bytes hold."},
                              {nullptr, nullptr, 0, nullptr}};

PyObject *decode_any(PyObject *, PyObject *data) {
    const lent_bytes bytes(data);
    if (!bytes) {
        return nullptr;
    }
    const ptp_cfg_type *type = ptp_cfg_message_identify(bytes.octets(), length32(bytes.size()));
    if (type != nullptr) {
        const type_entry *entry = entry_of(type);
        return decode_as(entry->made, *entry, data, nullptr);
    }
    const ptpcfg::wire_walk walk = ptpcfg::walk_message(bytes.text(), 0, bytes.size(), ptpcfg::walk_result::problem);
    fault what;
    what.code = bytes.size() < PTP_CFG_MESSAGE_PREFIX ? VELA_EMSGSIZE : VELA_EINVAL;
    what.reason = walk.problem;
    what.offset = static_cast<long long>(walk.problem_offset);
    return raise_fault("DecodeError", what);
}

PyObject *explain_bytes(PyObject *, PyObject *arguments) {
    PyObject *data = nullptr;
    const char *name = nullptr;
    if (PyArg_ParseTuple(arguments, "O|z", &data, &name) == 0) {
        return nullptr;
    }
    const lent_bytes bytes(data);
    if (!bytes) {
        return nullptr;
    }
    const ptp_cfg_type *type = name == nullptr ? nullptr : ptp_cfg_type_find(name);
    const ptpcfg::wire_walk walk = type == nullptr || entry_of(type)->kind == PTP_CFG_MESSAGE
                                       ? ptpcfg::walk_message(bytes.text(), 0, bytes.size(), ptpcfg::walk_result::items)
                                       : ptpcfg::walk_type(bytes.text(), type, ptpcfg::walk_result::items);
    object list(PyList_New(0));
    for (const ptpcfg::wire_item &item : walk.items) {
        const object row(Py_BuildValue("(nnNN)", static_cast<Py_ssize_t>(item.offset),
                                       static_cast<Py_ssize_t>(item.width), text_object(item.path),
                                       text_object(item.value)));
        if (!list || !row || PyList_Append(list.get(), row.get()) != 0) {
            return nullptr;
        }
    }
    return Py_BuildValue("(OnN)", list.get(), static_cast<Py_ssize_t>(walk.problem_offset),
                         walk.problem.empty() ? Py_NewRef(Py_None) : text_object(walk.problem));
}

}  // namespace python
