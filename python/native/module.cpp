// The extension module: its classes and functions, which ptp_cfg/ makes the package of.
#include "channel.h"
#include "record.h"
#include "recording.h"
#include "values.h"
#include "yaml_formats.h"

namespace python {
namespace {

PyMethodDef functions[] = {{"describe_types", describe_types, METH_NOARGS, nullptr},
                           {"bind_enumeration", bind_enumeration, METH_VARARGS, nullptr},
                           {"make_record_class", make_record_class, METH_VARARGS, nullptr},
                           {"decode", decode_any, METH_O, nullptr},
                           {"explain", explain_bytes, METH_VARARGS, nullptr},
                           {"identify_json", identify_json, METH_O, nullptr},
                           {"json_of_yaml", json_of_yaml, METH_O, nullptr},
                           {"place_in_yaml", place_in_yaml, METH_VARARGS, nullptr},
                           {"yaml_of_json", yaml_of_json, METH_O, nullptr},
                           {"split_bundle", split_bundle, METH_O, nullptr},
                           {"make_bundle", make_bundle, METH_O, nullptr},
                           {nullptr, nullptr, 0, nullptr}};

PyModuleDef definition = {
    PyModuleDef_HEAD_INIT, "ptp_cfg._native", nullptr, -1, functions, nullptr, nullptr, nullptr, nullptr};

bool fill(PyObject *module) {
    return create_handles() && read_types() && add_record_class(module) && add_record_type(module) &&
           add_array_class(module) && add_domain_class(module) && add_channel_class(module) &&
           add_recording_classes(module);
}

}  // namespace
}  // namespace python

PyMODINIT_FUNC PyInit__native() {
    python::object module(PyModule_Create(&python::definition));
    return module && python::fill(module.get()) ? module.release() : nullptr;
}
