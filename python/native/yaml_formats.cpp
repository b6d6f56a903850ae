// The YAML that means the same as a text of JSON, and back: as ptpcfg reads and writes it.
#include "yaml_formats.h"

#include "errors.h"
#include "given_text.h"
#include "yaml_document.h"

namespace python {
namespace {

using ptpcfg::text_piece;
using ptpcfg::text_place;

const std::string no_name;

PyObject *raise_yaml(text_place at, const std::string &reason) {
    fault what;
    what.code = VELA_EINVAL;
    what.reason = reason;
    what.line = static_cast<u_int32>(at.line);
    what.column = static_cast<u_int32>(at.column);
    return raise_fault("YamlError", what);
}

/** Has a function look at the one record of a text; nullptr with a Python error. */
template <typename function>
PyObject *with_record(PyObject *given, function use) {
    const given_text text(given);
    if (!text) {
        return nullptr;
    }
    const text_piece piece{std::string(text.data(), text.size()), 1, 1};
    try {
        const ptpcfg::yaml_document document(no_name, piece);
        if (document.records().size() == 1) {
            return use(document, document.records().front());
        }
        return raise_yaml({1, 1}, document.records().empty() ? "holds no record" : "holds more than one record");
    } catch (const ptpcfg::text_failure &failure) {
        return raise_yaml(failure.place, failure.reason);
    }
}

}  // namespace

PyObject *json_of_yaml(PyObject *, PyObject *text) {
    return with_record(text, [](const auto &, std::string_view record) { return text_object(record); });
}

PyObject *place_in_yaml(PyObject *, PyObject *arguments) {
    PyObject *text = nullptr;
    Py_ssize_t offset = 0;
    if (PyArg_ParseTuple(arguments, "On", &text, &offset) == 0) {
        return nullptr;
    }
    return with_record(text, [offset](const ptpcfg::yaml_document &document, std::string_view record) {
        const text_place at = document.place_in_piece(record, static_cast<size_t>(offset));
        return Py_BuildValue("(nn)", static_cast<Py_ssize_t>(at.line), static_cast<Py_ssize_t>(at.column));
    });
}

PyObject *yaml_of_json(PyObject *, PyObject *json) {
    Py_ssize_t length = 0;
    const char *text = PyUnicode_AsUTF8AndSize(json, &length);
    return text == nullptr ? nullptr : text_object(ptpcfg::yaml_of_json({text, static_cast<size_t>(length)}));
}

}  // namespace python
