// Channels and bundles.
#pragma once

#include "objects.h"

namespace python {

bool add_channel_class(PyObject *module);

/** split_bundle(data) of the module: what a bundle or single message holds, as (offset, bytes or None, reason). */
PyObject *split_bundle(PyObject *module, PyObject *data);
/** make_bundle(list of bytes) of the module. */
PyObject *make_bundle(PyObject *module, PyObject *messages);

/** Counters of the library as a dict. */
template <typename statistics>
struct counter {
    const char *name;
    u_int64 (*get)(const statistics &from);
};
template <typename statistics, size_t count>
PyObject *counters_object(const statistics &from, const counter<statistics> (&counters)[count]) {
    object all(PyDict_New());
    for (const counter<statistics> &each : counters) {
        const object value(PyLong_FromUnsignedLongLong(each.get(from)));
        if (!all || !value || PyDict_SetItemString(all.get(), each.name, value.get()) != 0) {
            return nullptr;
        }
    }
    return all.release();
}

}  // namespace python
