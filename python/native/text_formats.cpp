// Records as JSON, XML and text, and back.
#include <algorithm>

#include "given_text.h"
#include "ptp_cfg/json.h"
#include "writing.h"

namespace python {
namespace {

record_object *cast(PyObject *self) { return reinterpret_cast<record_object *>(self); }

u_int32 rule(int is_set, u_int32 value) { return is_set != 0 ? value : 0; }

/** Rules of JSON that calls have as keywords. */
struct json_keywords {
    int state_flags = 0;
    int variants = 0;
    int qualified = 0;
    int skip_unknown = 0;
    int all_fields = 0;

    u_int32 rules() const {
        return rule(state_flags, PTP_CFG_JSON_STATE_FLAGS) | rule(variants, PTP_CFG_JSON_VARIANTS) |
               rule(qualified, PTP_CFG_JSON_QUALIFIED) | rule(skip_unknown, PTP_CFG_JSON_SKIP_UNKNOWN) |
               rule(all_fields, PTP_CFG_JSON_ALL_FIELDS);
    }
};

PyObject *to_json(PyObject *self, PyObject *positional, PyObject *named) {
    const record_object *record = cast(self);
    json_keywords keywords;
    ptp_cfg_json_options options{};
    options.size = sizeof options;
    static const char *names[] = {"indent", "state_flags", "variants", "qualified", nullptr};
    if (PyArg_ParseTupleAndKeywords(positional, named, "|$Ippp", const_cast<char **>(names), &options.indent,
                                    &keywords.state_flags, &keywords.variants, &keywords.qualified) == 0) {
        return nullptr;
    }
    options.rules = keywords.rules();
    size_t length = 0;
    if (!write_record(record, "EncodeError", &length, [&](char *buffer, u_int32 room, u_int32 *err) {
            return ptp_cfg_to_json(record->handle(), memory_class, record->entry->type, record->instance, buffer, room,
                                   &options, err);
        })) {
        return nullptr;
    }
    return PyUnicode_DecodeUTF8(scratch().data(), static_cast<Py_ssize_t>(length), "strict");
}

void keep_fault(void *cookie, const ptp_cfg_json_fault *found) {
    auto &what = *static_cast<fault *>(cookie);
    what.path = found->path;
    what.reason = found->reason;
    what.line = found->line;
    what.column = found->column;
    what.offset = static_cast<long long>(found->offset);
}

PyObject *from_json(PyObject *made, PyObject *positional, PyObject *named) {
    const type_entry *entry = entry_of_class(made);
    PyObject *given = nullptr;
    PyObject *domain = nullptr;
    json_keywords keywords;
    int tracked = 0;
    static const char *names[] = {"",           "state_flags", "variants", "skip_unknown",
                                  "all_fields", "tracked",     "domain",   nullptr};
    if (entry == nullptr ||
        PyArg_ParseTupleAndKeywords(positional, named, "O|$pppppO", const_cast<char **>(names), &given,
                                    &keywords.state_flags, &keywords.variants, &keywords.skip_unknown,
                                    &keywords.all_fields, &tracked, &domain) == 0) {
        return nullptr;
    }
    vela_handle *handle = handle_for(tracked != 0);
    const given_text text(given);
    if (!text || !is_domain(domain)) {
        return nullptr;
    }
    fault what;
    ptp_cfg_json_options options{sizeof options, keywords.rules(), 0, keep_fault, &what};
    void *instance = nullptr;
    {
        const domain_scope scope(handle, domain);
        instance = ptp_cfg_from_json(handle, memory_class, entry->type, nullptr, text.data(), text.size(), &options,
                                     &what.code, nullptr, 0);
    }
    if (instance == nullptr) {
        what.reason = what.reason.empty() ? error_text(handle, what.code) : what.reason;
        return raise_fault("JsonError", what);
    }
    return own_instance(*entry, reinterpret_cast<PyTypeObject *>(made), instance, tracked != 0);
}

// ---- XML and text ---------------------------------------------------------------------------------------------------

/** What both writers of text do: the operation that a member of the table names. */
PyObject *rendered(PyObject *self, decltype(ptp_cfg_operations::print) ptp_cfg_operations::*operation) {
    const record_object *record = cast(self);
    size_t length = 0;
    const auto call = [&](char *buffer, u_int32 size, u_int32 *err) {
        std::fill_n(buffer, size, ' ');
        return (record->operations().*operation)(record->handle(), memory_class, buffer, record->instance, size, err);
    };
    return write_record(record, "EncodeError", &length, call) ? text_object({scratch().data(), length}) : nullptr;
}

PyObject *to_xml(PyObject *self, PyObject *) { return rendered(self, &ptp_cfg_operations::to_xml); }
PyObject *to_text(PyObject *self, PyObject *) { return rendered(self, &ptp_cfg_operations::print); }

u_int32 keep_xml_fault(void *cookie, const vela_xml_fault *found) {
    auto &what = *static_cast<fault *>(cookie);
    what.path = found->path;
    what.reason = found->reason;
    what.line = found->line;
    what.column = found->column;
    return 0;
}

/** Reads a document's record; nullptr with an error word. */
void *read_document(const type_entry &entry, vela_handle *handle, vela_xml_document *document, u_int32 *err,
                    char *error, u_int32 room) {
    const ptp_cfg_operations &operations = *entry.operations;
    if (entry.kind == PTP_CFG_MESSAGE) {
        return operations.from_document(handle, memory_class, document, err, error, room);
    }
    void *instance = operations.create(handle, memory_class);
    *err = instance == nullptr ? u_int32{VELA_ENOMEM} : 0;
    const std::string path = std::string("//") + entry.name;
    operations.from_xml(handle, memory_class, path.c_str(), document, instance, err, error, room);
    if (*err != 0 && instance != nullptr) {
        operations.destroy(handle, memory_class, instance);
        return nullptr;
    }
    return instance;
}

PyObject *from_xml(PyObject *made, PyObject *positional, PyObject *named) {
    const type_entry *entry = entry_of_class(made);
    PyObject *given = nullptr;
    PyObject *domain = nullptr;
    int strict = 1;
    int all_fields = 0;
    static const char *names[] = {"", "strict", "all_fields", "domain", nullptr};
    if (entry == nullptr || PyArg_ParseTupleAndKeywords(positional, named, "O|$ppO", const_cast<char **>(names), &given,
                                                        &strict, &all_fields, &domain) == 0) {
        return nullptr;
    }
    vela_handle *handle = handle_for(false);
    const given_text text(given);
    if (!text || !is_domain(domain)) {
        return nullptr;
    }
    fault what;
    const u_int32 rules = rule(strict, VELA_XML_STRICT | VELA_XML_ALL_PAYLOADS) |
                          rule(strict & all_fields, VELA_XML_ALL_FIELDS) | VELA_XML_NUMBERS | VELA_XML_SHORT_FORMS;
    const vela_xml_options options{sizeof options, rules, keep_xml_fault, &what};
    char error[512] = "";
    vela_xml_document *document =
        vela_xml_parse_with(text.data(), text.size(), &options, &what.code, error, sizeof error);
    void *instance = nullptr;
    if (document != nullptr) {
        const domain_scope scope(handle, domain);
        instance = read_document(*entry, handle, document, &what.code, error, sizeof error);
    }
    vela_xml_destroy(document);
    if (instance == nullptr) {
        what.reason = !what.reason.empty() ? what.reason : error[0] != '\0' ? error : error_text(handle, what.code);
        return raise_fault("XmlError", what);
    }
    return own_instance(*entry, reinterpret_cast<PyTypeObject *>(made), instance, false);
}

}  // namespace

PyMethodDef text_methods[] = {
    {"to_json", method(to_json), METH_VARARGS | METH_KEYWORDS,
     "to_json(*, indent=0, state_flags=False, variants=False, qualified=False)\n--\n\nThe record as JSON."},
    {"from_json", method(from_json), METH_VARARGS | METH_KEYWORDS | METH_CLASS,
     "from_json(text, *, state_flags=False, variants=False, skip_unknown=False, all_fields=False, tracked=False, "
     "domain=None)\n--\n\nThe record that a text of JSON holds."},
    {"_to_xml", to_xml, METH_NOARGS, nullptr},
    {"from_xml", method(from_xml), METH_VARARGS | METH_KEYWORDS | METH_CLASS,
     "from_xml(text, *, strict=True, all_fields=False, domain=None)\n--\n\nThe record that an XML document holds."},
    {"_to_text", to_text, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr}};

PyObject *identify_json(PyObject *, PyObject *given) {
    const given_text text(given);
    if (!text) {
        return nullptr;
    }
    const ptp_cfg_type *type = ptp_cfg_json_identify(text.data(), text.size());
    if (type == nullptr) {
        Py_RETURN_NONE;
    }
    return Py_NewRef(reinterpret_cast<PyObject *>(entry_of(type)->made));
}

}  // namespace python
