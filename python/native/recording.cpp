// Recordings: a reader and a writer, which leave the interpreter to others while they use files.
#include "recording.h"

#include "channel.h"
#include "errors.h"
#include "vela_recorder.h"

namespace python {
namespace {

PyObject *raise_recording(u_int32 err, const std::string &reason) {
    fault what;
    what.code = err;
    what.reason = reason;
    return raise_fault("RecordingError", what);
}

/** What both classes hold. It is used by one thread at a time, also while that has given the lock away. */
template <class file>
struct file_object {
    PyObject_HEAD file *opened;
    bool busy;
};
using reader_object = file_object<vela_recording>;
using writer_object = file_object<vela_recorder>;

/** Uses the file alone while it lives; false in a condition, with a Python error, when that cannot be. */
template <class file>
class exclusive {
  public:
    explicit exclusive(file_object<file> *self) : self_(self), is_mine_(!self->busy && self->opened != nullptr) {
        if (is_mine_) {
            self->busy = true;
        } else {
            raise_recording(VELA_EINVAL, self->busy ? "another thread uses the recording" : "the recording is closed");
        }
    }
    ~exclusive() {
        if (is_mine_) {
            self_->busy = false;
        }
    }
    exclusive(const exclusive &) = delete;
    exclusive &operator=(const exclusive &) = delete;
    explicit operator bool() const { return is_mine_; }

  private:
    file_object<file> *self_;
    bool is_mine_;
};

/** The path of the first argument, as the system has it. */
bool path_argument(PyObject *path, object *encoded) {
    PyObject *bytes = nullptr;
    if (PyUnicode_FSConverter(path, &bytes) == 0) {
        return false;
    }
    *encoded = object(bytes);
    return true;
}

template <class file, auto close>
PyObject *close_file(PyObject *self, PyObject *) {
    auto *own = reinterpret_cast<file_object<file> *>(self);
    if (own->busy) {
        return raise_recording(VELA_EINVAL, "another thread uses the recording");
    }
    close(std::exchange(own->opened, nullptr));
    Py_RETURN_NONE;
}

template <class file, auto close>
void dealloc_file(PyObject *self) {
    PyTypeObject *made = Py_TYPE(self);
    close(reinterpret_cast<file_object<file> *>(self)->opened);
    made->tp_free(self);
    Py_DECREF(made);
}

// ---- reading --------------------------------------------------------------------------------------------------------

/** _open(path) */
PyObject *reader_open(PyObject *self, PyObject *path) {
    object encoded;
    if (!path_argument(path, &encoded)) {
        return nullptr;
    }
    auto *own = reinterpret_cast<reader_object *>(self);
    char text[512] = "";
    u_int32 err = 0;
    vela_recording *opened = nullptr;
    {
        const interpreter_released others;
        opened = vela_recording_open(PyBytes_AS_STRING(encoded.get()), text, sizeof text, &err);
    }
    if (opened == nullptr) {
        return raise_recording(err, text);
    }
    vela_recording_close(std::exchange(own->opened, opened));
    Py_RETURN_NONE;
}

/** _next(): (kind, source, time, bytes or None, file, offset, extent, reason or None), or None at the end. */
PyObject *reader_next(PyObject *self, PyObject *) {
    auto *own = reinterpret_cast<reader_object *>(self);
    const exclusive<vela_recording> use(own);
    if (!use) {
        return nullptr;
    }
    vela_recording_item item{};
    u_int32 err = 0;
    u_int32 found = 0;
    {
        const interpreter_released others;
        found = vela_recording_next(own->opened, &item, &err);
    }
    if (err != 0) {
        return raise_recording(err, error_text(nullptr, err));
    }
    if (found == 0) {
        Py_RETURN_NONE;
    }
    static constexpr const char *kinds[] = {"", "record", "torn", "damaged"};
    return Py_BuildValue("(sIKy#NKKz)", kinds[item.kind], item.source, static_cast<unsigned long long>(item.time_ns),
                         reinterpret_cast<const char *>(item.bytes), static_cast<Py_ssize_t>(item.length),
                         text_object(item.file), static_cast<unsigned long long>(item.offset),
                         static_cast<unsigned long long>(item.extent), item.reason);
}

PyObject *reader_place(PyObject *self, void *) {
    auto *own = reinterpret_cast<reader_object *>(self);
    const exclusive<vela_recording> use(own);
    return !use ? nullptr
                : Py_BuildValue("(KK)", static_cast<unsigned long long>(vela_recording_position(own->opened)),
                                static_cast<unsigned long long>(vela_recording_size(own->opened)));
}

// ---- writing --------------------------------------------------------------------------------------------------------

/** _open(path, max_file_bytes, files, mode, allow_other_users, allow_links): what was repaired, as a text. */
PyObject *writer_open(PyObject *self, PyObject *arguments) {
    PyObject *path = nullptr;
    vela_recorder_options options{};
    options.size = sizeof options;
    unsigned long long most = 0;
    object encoded;
    if (PyArg_ParseTuple(arguments, "OKIIII", &path, &most, &options.files, &options.mode, &options.allow_other_users,
                         &options.allow_links) == 0 ||
        !path_argument(path, &encoded)) {
        return nullptr;
    }
    options.max_file_bytes = most;
    char text[512] = "";
    u_int32 err = 0;
    vela_recorder *opened = nullptr;
    {
        const interpreter_released others;
        opened = vela_recorder_open(PyBytes_AS_STRING(encoded.get()), &options, text, sizeof text, &err);
    }
    if (opened == nullptr) {
        return raise_recording(err, text);
    }
    vela_recorder_close(std::exchange(reinterpret_cast<writer_object *>(self)->opened, opened), nullptr);
    return text_object(text);
}

/** _append(bytes, time, source) */
PyObject *writer_append(PyObject *self, PyObject *arguments) {
    PyObject *data = nullptr;
    unsigned long long time = 0;
    u_int32 source = 0;
    if (PyArg_ParseTuple(arguments, "OKI", &data, &time, &source) == 0) {
        return nullptr;
    }
    const lent_bytes bytes(data);
    if (!bytes) {
        return nullptr;
    }
    auto *own = reinterpret_cast<writer_object *>(self);
    const exclusive<vela_recorder> use(own);
    if (!use) {
        return nullptr;
    }
    u_int32 err = 0;
    {
        const interpreter_released others;
        vela_recorder_append(own->opened, time, source, bytes.octets(), length32(bytes.size()), &err);
    }
    if (err != 0) {
        return raise_recording(err, error_text(nullptr, err));
    }
    Py_RETURN_NONE;
}

#define PTP_CFG_PYTHON_COUNTER(name)                                                     \
    {                                                                                    \
#name, [](const vela_recorder_statistics &from) -> u_int64 { return from.name; } \
    }
constexpr counter<vela_recorder_statistics> counters[] = {
    PTP_CFG_PYTHON_COUNTER(records),   PTP_CFG_PYTHON_COUNTER(bytes),     PTP_CFG_PYTHON_COUNTER(failed),
    PTP_CFG_PYTHON_COUNTER(rotations), PTP_CFG_PYTHON_COUNTER(cut_bytes), PTP_CFG_PYTHON_COUNTER(file_bytes),
    PTP_CFG_PYTHON_COUNTER(last_error)};

PyObject *writer_statistics(PyObject *self, void *) {
    auto *own = reinterpret_cast<writer_object *>(self);
    const exclusive<vela_recorder> use(own);
    if (!use) {
        return nullptr;
    }
    vela_recorder_statistics statistics{};
    vela_recorder_get_statistics(own->opened, &statistics);
    return counters_object(statistics, counters);
}

void close_writer(vela_recorder *recorder) { vela_recorder_close(recorder, nullptr); }

bool add_class(PyObject *module, const char *name, PyType_Spec *spec) {
    object made(PyType_FromSpec(spec));
    return made && PyModule_AddObjectRef(module, name, made.release()) == 0;
}

}  // namespace

bool add_recording_classes(PyObject *module) {
    static PyMethodDef reader_methods[] = {
        {"_open", reader_open, METH_O, nullptr},
        {"_next", reader_next, METH_NOARGS, nullptr},
        {"close", close_file<vela_recording, vela_recording_close>, METH_NOARGS, nullptr},
        {nullptr, nullptr, 0, nullptr}};
    static PyGetSetDef reader_properties[] = {
        {"progress", reader_place, nullptr, "Bytes that were passed, and all bytes, of the files.", nullptr},
        {nullptr, nullptr, nullptr, nullptr, nullptr}};
    static PyType_Slot reader_slots[] = {
        {Py_tp_dealloc, reinterpret_cast<void *>(dealloc_file<vela_recording, vela_recording_close>)},
        {Py_tp_methods, reader_methods},
        {Py_tp_getset, reader_properties},
        {0, nullptr}};
    static PyType_Spec reader = {"ptp_cfg._native.Recording", sizeof(reader_object), 0,
                                 Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE, reader_slots};
    static PyMethodDef writer_methods[] = {{"_open", writer_open, METH_VARARGS, nullptr},
                                           {"_append", writer_append, METH_VARARGS, nullptr},
                                           {"close", close_file<vela_recorder, close_writer>, METH_NOARGS, nullptr},
                                           {nullptr, nullptr, 0, nullptr}};
    static PyGetSetDef writer_properties[] = {
        {"statistics", writer_statistics, nullptr, "The counters of the recorder, by name.", nullptr},
        {nullptr, nullptr, nullptr, nullptr, nullptr}};
    static PyType_Slot writer_slots[] = {
        {Py_tp_dealloc, reinterpret_cast<void *>(dealloc_file<vela_recorder, close_writer>)},
        {Py_tp_methods, writer_methods},
        {Py_tp_getset, writer_properties},
        {0, nullptr}};
    static PyType_Spec writer = {"ptp_cfg._native.Recorder", sizeof(writer_object), 0,
                                 Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE, writer_slots};
    return add_class(module, "Recording", &reader) && add_class(module, "Recorder", &writer);
}

}  // namespace python
