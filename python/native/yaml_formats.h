// YAML: functions of the module.
#pragma once

#include "objects.h"

namespace python {

/** The JSON of the one record that a text of YAML holds. */
PyObject *json_of_yaml(PyObject *module, PyObject *text);
/** Of a text of YAML and an offset in that JSON: line and column of what stands there. */
PyObject *place_in_yaml(PyObject *module, PyObject *text_and_offset);
/** The YAML of a record's JSON. */
PyObject *yaml_of_json(PyObject *module, PyObject *json);

}  // namespace python
