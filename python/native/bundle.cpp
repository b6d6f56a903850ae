// Bundles of messages.
#include <memory>
#include <vector>

#include "channel.h"
#include "errors.h"
#include "record.h"
#include "vela_bundle.h"

namespace python {
namespace {

PyObject *raise_bundle(u_int32 err, const std::string &reason, long long offset) {
    fault what;
    what.code = err;
    what.reason = reason;
    what.offset = offset;
    return raise_fault("DecodeError", what);
}

struct destroy_bundle {
    void operator()(vela_bundle *bundle) const { vela_bundle_destroy(bundle); }
};

/** The messages of a list; an empty list with a Python error. */
std::vector<const record_object *> messages_of(PyObject *list) {
    std::vector<const record_object *> messages;
    const Py_ssize_t count = PySequence_Fast_GET_SIZE(list);
    for (Py_ssize_t index = 0; index < count; ++index) {
        const record_object *message = record_of(PySequence_Fast_GET_ITEM(list, index));
        if (message == nullptr || message->entry->kind != PTP_CFG_MESSAGE ||
            message->tracked != (messages.empty() ? message : messages.front())->tracked) {
            PyErr_SetString(PyExc_TypeError, "a bundle is made of messages, either all with state flags or none");
            return {};
        }
        messages.push_back(message);
    }
    if (messages.empty()) {
        PyErr_SetString(PyExc_ValueError, "a bundle needs at least one message");
    }
    return messages;
}

size_t bundle_length(const std::vector<const record_object *> &messages) {
    size_t length = VELA_BUNDLE_HEADER;
    for (const record_object *message : messages) {
        length += VELA_BUNDLE_PREFIX + message->operations().len(message->handle(), memory_class, message->instance);
    }
    return length;
}

}  // namespace

PyObject *split_bundle(PyObject *, PyObject *data) {
    const lent_bytes bytes(data);
    if (!bytes) {
        return nullptr;
    }
    u_int32 err = 0;
    vela_bundle_reader reader{};
    vela_bundle_read(&reader, bytes.octets(), length32(bytes.size()), &err);
    if (err != 0) {
        return raise_bundle(err,
                            bytes.size() < VELA_BUNDLE_LEAST_MESSAGE
                                ? "these bytes are too few for a message or a bundle"
                                : "these bytes are neither a message nor a whole bundle",
                            0);
    }
    object list(PyList_New(0));
    vela_bundle_item item{};
    while (list && vela_bundle_next(&reader, &item) != 0) {
        const bool there = item.err == 0 && item.message != nullptr;
        const object row(there ? Py_BuildValue("(Iy#Oz)", item.offset, reinterpret_cast<const char *>(item.message),
                                               static_cast<Py_ssize_t>(item.length), Py_None, nullptr)
                               : Py_BuildValue("(IOIz)", item.offset, Py_None, item.err, item.reason));
        if (!row || PyList_Append(list.get(), row.get()) != 0) {
            return nullptr;
        }
    }
    return list.release();
}

PyObject *make_bundle(PyObject *, PyObject *list) {
    const object all(PySequence_Fast(list, "a sequence of messages is wanted"));
    const std::vector<const record_object *> messages =
        all ? messages_of(all.get()) : std::vector<const record_object *>();
    if (messages.empty()) {
        return nullptr;
    }
    vela_handle *handle = messages.front()->handle();
    u_int32 err = 0;
    const std::unique_ptr<vela_bundle, destroy_bundle> bundle(
        vela_bundle_open(handle, memory_class, length32(bundle_length(messages)), &err));
    for (const record_object *message : messages) {
        vela_bundle_add(handle, memory_class, message->operations().marshal, message->instance, &err);
        if (err != 0) {
            fault what;
            what.code = err;
            what.path = path_of(message);
            what.reason = error_text(handle, err);
            return raise_fault("EncodeError", what);
        }
    }
    const u_int8 *bytes = nullptr;
    u_int32 length = 0;
    vela_bundle_close(handle, &bytes, &length, &err);
    return PyBytes_FromStringAndSize(reinterpret_cast<const char *>(bytes), length);
}

}  // namespace python
