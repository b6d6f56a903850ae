// Recordings that are read and written.
#pragma once

#include "objects.h"

namespace python {

bool add_recording_classes(PyObject *module);

}  // namespace python
