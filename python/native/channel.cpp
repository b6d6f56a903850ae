// Channels: opening, sending, and handing what arrives to a function of Python.
#include "channel.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>

#include "errors.h"
#include "vela_transport.h"

namespace python {
namespace {

/**
 * A channel. All its calls run under the interpreter's lock, so that several threads may use it; whoever waits gives
 * the lock away and looks at descriptors alone. Closing it wakes those who wait.
 */
struct channel_object {
    PyObject_HEAD vela_channel *channel;
    PyObject *on_event;  // or NULL
    PyObject *receive;   // while it is processed: called with the bytes of each bundle
    int woken;           // an eventfd that closing makes readable
    int waiting;
    bool busy;    // within a call that runs handlers
    bool failed;  // one of them raised
};

constexpr int handled_signals = 500;  // milliseconds between looks for signals that came to other threads

channel_object *cast(PyObject *self) { return reinterpret_cast<channel_object *>(self); }

PyObject *raise_channel(u_int32 err, const std::string &reason) {
    fault what;
    what.code = err;
    what.reason = reason;
    return raise_fault("ChannelError", what);
}

vela_channel *open_channel(PyObject *self) {
    if (cast(self)->channel == nullptr) {
        raise_channel(VELA_ENOTCONN, "the channel is closed");
    }
    return cast(self)->channel;
}

const char *event_name(vela_channel_event_kind kind) {
    static constexpr const char *names[] = {"", "connected", "disconnected", "refused", "lost", "unread", "dropped"};
    return kind <= VELA_CHANNEL_DROPPED ? names[kind] : "unknown";
}

void tell_event(void *cookie, vela_channel *, const vela_channel_event *event) {
    auto *self = static_cast<channel_object *>(cookie);
    if (self->on_event == nullptr || self->failed) {
        return;
    }
    const object bytes(event->bytes == nullptr
                           ? Py_NewRef(Py_None)
                           : PyBytes_FromStringAndSize(reinterpret_cast<const char *>(event->bytes), event->length));
    const object result(
        bytes ? PyObject_CallFunction(self->on_event, "sIINO", event_name(event->kind), event->err, event->messages,
                                      text_object(event->text == nullptr ? "" : event->text), bytes.get())
              : nullptr);
    self->failed = !result;
}

void take_bundle(vela_handle *, u_int32, const u_int8 *bundle, u_int32 length, void *context) {
    auto *self = static_cast<channel_object *>(context);
    if (self->failed || self->receive == nullptr) {
        return;
    }
    const object bytes(PyBytes_FromStringAndSize(reinterpret_cast<const char *>(bundle), length));
    const object result(bytes ? PyObject_CallOneArg(self->receive, bytes.get()) : nullptr);
    self->failed = !result;
}

bool read_options(PyObject *named, vela_channel_options *options) {
    static const struct {
        const char *name;
        u_int32 vela_channel_options::*place;
    } known[] = {{"max_message", &vela_channel_options::max_message},
                 {"queue_messages", &vela_channel_options::queue_messages},
                 {"queue_bytes", &vela_channel_options::queue_bytes},
                 {"max_peers", &vela_channel_options::max_peers},
                 {"idle_ms", &vela_channel_options::idle_ms},
                 {"socket_mode", &vela_channel_options::socket_mode},
                 {"allow_other_users", &vela_channel_options::allow_other_users},
                 {"socket_buffer", &vela_channel_options::socket_buffer},
                 {"reconnect_first_ms", &vela_channel_options::reconnect_first_ms},
                 {"reconnect_most_ms", &vela_channel_options::reconnect_most_ms}};
    PyObject *key = nullptr;
    PyObject *value = nullptr;
    for (Py_ssize_t at = 0; PyDict_Next(named, &at, &key, &value) != 0;) {
        bool is_known = false;
        for (const auto &option : known) {
            if (PyUnicode_CompareWithASCIIString(key, option.name) == 0) {
                const unsigned long number = PyLong_AsUnsignedLong(value);
                if (PyErr_Occurred() != nullptr || number > UINT32_MAX) {
                    PyErr_Format(PyExc_ValueError, "%s is a number from 0 to 4294967295", option.name);
                    return false;
                }
                options->*option.place = static_cast<u_int32>(number);
                is_known = true;
            }
        }
        if (!is_known) {
            PyErr_Format(PyExc_TypeError, "a channel has no option %R", key);
            return false;
        }
    }
    return true;
}

PyObject *channel_new(PyTypeObject *made, PyObject *, PyObject *) {
    PyObject *self = made->tp_alloc(made, 0);
    if (self != nullptr) {
        cast(self)->woken = -1;
    }
    return self;
}

/** _open(listens, domain, uri, on_event, options) */
PyObject *channel_open(PyObject *self, PyObject *arguments) {
    int listens = 0;
    const char *domain = nullptr;
    const char *uri = nullptr;
    PyObject *on_event = nullptr;
    PyObject *named = nullptr;
    vela_channel_options options{};
    options.size = sizeof options;
    if (PyArg_ParseTuple(arguments, "pszOO!", &listens, &domain, &uri, &on_event, &PyDict_Type, &named) == 0 ||
        !read_options(named, &options)) {
        return nullptr;
    }
    if (cast(self)->channel != nullptr) {
        return raise_channel(VELA_EINVAL, "the channel is open already");
    }
    options.event = tell_event;
    options.event_cookie = self;
    options.describe = ptp_cfg_message_describe;
    Py_XSETREF(cast(self)->on_event, on_event == Py_None ? nullptr : Py_NewRef(on_event));
    cast(self)->woken = cast(self)->woken >= 0 ? cast(self)->woken : eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    char text[512] = "";
    u_int32 err = 0;
    cast(self)->channel = listens != 0 ? vela_channel_listen(domain, uri, &options, text, sizeof text, &err)
                                       : vela_channel_connect(domain, uri, &options, text, sizeof text, &err);
    if (cast(self)->channel == nullptr) {
        return raise_channel(err, text);
    }
    for (const auto handle_bundles : {gable_bundle_handler_register, wicket_bundle_handler_register,
                                      skein_bundle_handler_register, osprey_bundle_handler_register}) {
        handle_bundles(take_bundle);
    }
    Py_RETURN_NONE;
}

/** Ends a call that may have run handlers: with their exception, if one was raised. */
bool finish_call(channel_object *self) { return !std::exchange(self->failed, false); }

PyObject *send_with(PyObject *self, PyObject *data,
                    u_int32 (*send)(vela_channel *, const u_int8 *, u_int32, u_int32 *)) {
    const lent_bytes bytes(data);
    vela_channel *channel = bytes ? open_channel(self) : nullptr;
    if (channel == nullptr) {
        return nullptr;
    }
    u_int32 err = 0;
    send(channel, bytes.octets(), length32(bytes.size()), &err);
    if (!cast(self)->busy && !finish_call(cast(self))) {
        return nullptr;
    }
    if (err == VELA_EAGAIN) {
        return raise_channel(err, "the queue is full; process the channel and send again later");
    }
    if (err != 0) {
        return raise_channel(err, error_text(nullptr, err));
    }
    Py_RETURN_NONE;
}

PyObject *channel_send(PyObject *self, PyObject *data) { return send_with(self, data, vela_channel_send); }
PyObject *channel_reply(PyObject *self, PyObject *data) { return send_with(self, data, vela_channel_reply); }

/** Runs a call that hands what arrived to a function. */
template <typename call>
PyObject *with_handlers(PyObject *self, PyObject *receive, call run) {
    channel_object *own = cast(self);
    if (own->busy) {
        return raise_channel(VELA_EINVAL, "the channel is processed already, by a handler or another thread");
    }
    const object held = object::borrowed(receive);
    own->busy = true;
    own->receive = receive;
    u_int32 err = 0;
    const u_int32 result = run(&err);
    own->receive = nullptr;
    own->busy = false;
    if (!finish_call(own)) {
        return nullptr;
    }
    return err != 0 ? raise_channel(err, error_text(nullptr, err)) : PyLong_FromUnsignedLong(result);
}

/** _process(receive, limit) */
PyObject *channel_process(PyObject *self, PyObject *arguments) {
    PyObject *receive = nullptr;
    unsigned limit = 0;
    vela_channel *channel = open_channel(self);
    if (channel == nullptr || PyArg_ParseTuple(arguments, "OI", &receive, &limit) == 0) {
        return nullptr;
    }
    return with_handlers(self, receive, [&](u_int32 *err) {
        return vela_channel_process(channel, handle_for(false), memory_class, cast(self), limit, err);
    });
}

/** _finish(receive): one step, without waiting. */
PyObject *channel_finish(PyObject *self, PyObject *receive) {
    vela_channel *channel = open_channel(self);
    if (channel == nullptr) {
        return nullptr;
    }
    return with_handlers(self, receive, [&](u_int32 *err) {
        return vela_channel_finish(channel, handle_for(false), memory_class, cast(self), 0, err);
    });
}

/** _wait(milliseconds): true when there is something to do, or the channel was closed. Others run meanwhile. */
PyObject *channel_wait(PyObject *self, PyObject *milliseconds) {
    const long most = PyLong_AsLong(milliseconds);
    vela_channel *channel = PyErr_Occurred() == nullptr ? open_channel(self) : nullptr;
    if (channel == nullptr) {
        return nullptr;
    }
    pollfd places[] = {{vela_channel_fd(channel), POLLIN, 0}, {cast(self)->woken, POLLIN, 0}};
    const int timeout = most < 0 || most > handled_signals ? handled_signals : static_cast<int>(most);
    ++cast(self)->waiting;
    int ready = 0;
    int error = 0;
    {
        const interpreter_released others;
        ready = poll(places, 2, timeout);
        error = errno;
    }
    --cast(self)->waiting;
    if (ready < 0 && error != EINTR) {
        return raise_channel(static_cast<u_int32>(error), error_text(nullptr, static_cast<u_int32>(error)));
    }
    return PyErr_CheckSignals() != 0 ? nullptr : PyBool_FromLong(ready > 0 ? 1 : 0);
}

PyObject *channel_close(PyObject *self, PyObject *) {
    channel_object *own = cast(self);
    if (own->busy) {
        return raise_channel(VELA_EINVAL, "a handler cannot close the channel that calls it");
    }
    if (own->channel != nullptr) {
        if (own->waiting != 0) {
            eventfd_write(own->woken, 1);
        }
        vela_channel_close(std::exchange(own->channel, nullptr), nullptr);
    }
    if (!finish_call(own)) {
        return nullptr;
    }
    Py_RETURN_NONE;
}

PyObject *channel_fileno(PyObject *self, PyObject *) {
    const vela_channel *channel = open_channel(self);
    return channel == nullptr ? nullptr : PyLong_FromLong(vela_channel_fd(channel));
}

PyObject *channel_uri(PyObject *self, void *) {
    const vela_channel *channel = open_channel(self);
    return channel == nullptr ? nullptr : PyUnicode_FromString(vela_channel_uri(channel));
}

PyObject *channel_closed(PyObject *self, void *) { return PyBool_FromLong(cast(self)->channel == nullptr ? 1 : 0); }

PyObject *channel_unconfirmed(PyObject *self, void *) {
    const vela_channel *channel = open_channel(self);
    return channel == nullptr ? nullptr : PyLong_FromUnsignedLong(vela_channel_unconfirmed(channel));
}

#define PTP_CFG_PYTHON_COUNTER(name)                                                    \
    {                                                                                   \
#name, [](const vela_channel_statistics &from) -> u_int64 { return from.name; } \
    }
constexpr counter<vela_channel_statistics> counters[] = {
    PTP_CFG_PYTHON_COUNTER(sent),           PTP_CFG_PYTHON_COUNTER(sent_bytes), PTP_CFG_PYTHON_COUNTER(received),
    PTP_CFG_PYTHON_COUNTER(received_bytes), PTP_CFG_PYTHON_COUNTER(refused),    PTP_CFG_PYTHON_COUNTER(lost),
    PTP_CFG_PYTHON_COUNTER(unread),         PTP_CFG_PYTHON_COUNTER(dropped),    PTP_CFG_PYTHON_COUNTER(connects),
    PTP_CFG_PYTHON_COUNTER(disconnects),    PTP_CFG_PYTHON_COUNTER(reconnects), PTP_CFG_PYTHON_COUNTER(refused_peers),
    PTP_CFG_PYTHON_COUNTER(peers),          PTP_CFG_PYTHON_COUNTER(queued),     PTP_CFG_PYTHON_COUNTER(queued_bytes)};

PyObject *channel_statistics(PyObject *self, void *) {
    const vela_channel *channel = open_channel(self);
    if (channel == nullptr) {
        return nullptr;
    }
    vela_channel_statistics statistics{};
    vela_channel_get_statistics(channel, &statistics);
    return counters_object(statistics, counters);
}

int channel_traverse(PyObject *self, visitproc visit, void *arg) {
    Py_VISIT(cast(self)->on_event);
    Py_VISIT(Py_TYPE(self));
    return 0;
}

int channel_clear(PyObject *self) {
    Py_CLEAR(cast(self)->on_event);
    return 0;
}

void channel_dealloc(PyObject *self) {
    PyTypeObject *made = Py_TYPE(self);
    PyObject_GC_UnTrack(self);
    channel_clear(self);  // nobody is told of a channel that is given up
    vela_channel_close(cast(self)->channel, nullptr);
    if (cast(self)->woken >= 0) {
        close(cast(self)->woken);
    }
    made->tp_free(self);
    Py_DECREF(made);
}

PyMethodDef methods[] = {{"_open", channel_open, METH_VARARGS, nullptr},
                         {"_send", channel_send, METH_O, nullptr},
                         {"_reply", channel_reply, METH_O, nullptr},
                         {"_process", channel_process, METH_VARARGS, nullptr},
                         {"_finish", channel_finish, METH_O, nullptr},
                         {"_wait", channel_wait, METH_O, nullptr},
                         {"_close", channel_close, METH_NOARGS, nullptr},
                         {"fileno", channel_fileno, METH_NOARGS,
                          "fileno()\n--\n\nA descriptor that is readable when there is something to do."},
                         {nullptr, nullptr, 0, nullptr}};

PyGetSetDef properties[] = {
    {"uri", channel_uri, nullptr, "The place that the channel is bound to.", nullptr},
    {"closed", channel_closed, nullptr, "Whether the channel was closed.", nullptr},
    {"unconfirmed", channel_unconfirmed, nullptr, "Most messages that were sent and may not be read yet.", nullptr},
    {"statistics", channel_statistics, nullptr, "The counters of the channel, by name.", nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr}};

}  // namespace

bool add_channel_class(PyObject *module) {
    static PyType_Slot slots[] = {{Py_tp_new, reinterpret_cast<void *>(channel_new)},
                                  {Py_tp_dealloc, reinterpret_cast<void *>(channel_dealloc)},
                                  {Py_tp_traverse, reinterpret_cast<void *>(channel_traverse)},
                                  {Py_tp_clear, reinterpret_cast<void *>(channel_clear)},
                                  {Py_tp_methods, methods},
                                  {Py_tp_getset, properties},
                                  {0, nullptr}};
    static PyType_Spec spec = {"ptp_cfg._native.Channel", sizeof(channel_object), 0,
                               Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE | Py_TPFLAGS_HAVE_GC, slots};
    object made(PyType_FromSpec(&spec));
    return made && PyModule_AddObjectRef(module, "Channel", made.release()) == 0;
}

}  // namespace python
