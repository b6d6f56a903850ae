// Reads what reflection knows of all types, and makes classes of them.
#include "types.h"

#include <memory>
#include <unordered_map>

#include "values.h"

namespace python {
namespace {

/** A class with what it is made of, behind what every class has. */
struct record_class {
    PyHeapTypeObject heap;
    const type_entry *entry;
};

PyTypeObject *record_class_type = nullptr;
// Never destroyed: the interpreter, whose objects they hold, is gone before static objects are.
auto &types = *new std::vector<std::unique_ptr<type_entry>>;
auto &types_by_handle = *new std::unordered_map<const ptp_cfg_type *, type_entry *>;
vela_handle *handles[2];

bool is_byte_list(const type_entry &entry) {
    return entry.kind == PTP_CFG_STRUCTURE && entry.fields.size() == 1 && entry.fields[0].is_array != 0 &&
           entry.fields[0].kind == PTP_CFG_FIELD_UNSIGNED && entry.fields[0].element_size == 1;
}

void read_fields(type_entry &entry) {
    entry.fields.resize(entry.field_count);
    for (u_int32 index = 0; index < entry.field_count; ++index) {
        field_entry &field = entry.fields[index];
        field.size = sizeof(ptp_cfg_field_description);
        ptp_cfg_field_describe(entry.type, index, &field);
        field.owner = &entry;
        field.index = index;
        field.inner = field.type == nullptr ? nullptr : types_by_handle.at(field.type);
        field.interned = PyUnicode_InternFromString(field.name);
        field.form = field.kind == PTP_CFG_FIELD_OPAQUE ? text_form_of(field.type_name) : nullptr;
        field.is_ipv4_number = field.unit != nullptr && std::string_view(field.unit) == "IPv4 address";
        if (field.is_read_only != 0 && index + 1 < entry.field_count) {
            entry.fields[index + 1].text_length = &field;  // the length stands before its text
        }
    }
    entry.is_byte_list = is_byte_list(entry);
}

const char *kind_name(ptp_cfg_type_kind kind) {
    return kind == PTP_CFG_STRUCTURE ? "structure" : kind == PTP_CFG_ENUMERATION ? "enumeration" : "message";
}

const char *kind_name(ptp_cfg_field_class kind) {
    static constexpr const char *names[] = {"unsigned", "signed",      "boolean",  "opaque",
                                            "text",     "enumeration", "structure"};
    return names[kind];
}

PyObject *describe_field(const field_entry &field) {
    return Py_BuildValue(
        "{sssssssssssIsNsNsisNsI}", "name", field.name, "type", field.type_name, "kind", kind_name(field.kind), "doc",
        field.doc, "unit", field.unit, "capacity", field.capacity, "is_array", PyBool_FromLong(field.is_array),
        "is_read_only", PyBool_FromLong(field.is_read_only), "since", static_cast<int>(field.since), "is_address",
        PyBool_FromLong(field.is_ipv4_number), "element_size", static_cast<u_int32>(field.element_size));
}

/** A list of what a function makes of each index; the function's nullptr ends it with an error. */
template <typename make>
PyObject *list_of(u_int32 count, make item) {
    object list(PyList_New(count));
    for (u_int32 index = 0; list && index < count; ++index) {
        PyObject *made = item(index);
        if (made == nullptr) {
            return nullptr;
        }
        PyList_SET_ITEM(list.get(), index, made);
    }
    return list.release();
}

PyObject *describe_literal(const type_entry &entry, u_int32 index) {
    ptp_cfg_literal literal{};
    ptp_cfg_literal_describe(entry.type, index, &literal);
    return Py_BuildValue("(sIzi)", literal.literal, literal.number, literal.doc, static_cast<int>(literal.since));
}

PyObject *describe_type(const type_entry &entry) {
    object fields(list_of(static_cast<u_int32>(entry.fields.size()),
                          [&entry](u_int32 index) { return describe_field(entry.fields[index]); }));
    object literals(list_of(entry.literal_count, [&entry](u_int32 index) { return describe_literal(entry, index); }));
    if (!fields || !literals) {
        return nullptr;
    }
    return Py_BuildValue("{sssssssssssisOsOsN}", "kind", kind_name(entry.kind), "name", entry.name, "short_name",
                         entry.short_name, "doc", entry.doc, "luid", entry.luid_text, "newest_variant",
                         static_cast<int>(entry.newest_variant), "fields", fields.get(), "literals", literals.get(),
                         "is_byte_list", PyBool_FromLong(entry.is_byte_list));
}

type_entry *entry_named(const char *name) {
    const ptp_cfg_type *type = ptp_cfg_type_find(name);
    const auto at = types_by_handle.find(type);
    if (at == types_by_handle.end()) {
        PyErr_Format(PyExc_ValueError, "there is no type '%s'", name);
        return nullptr;
    }
    return at->second;
}

bool add_properties(type_entry &entry) {
    for (field_entry &field : entry.fields) {
        object property(property_of(entry.made, field));
        object name(PyUnicode_FromString(field.name));
        // A method of that name goes first: the field is then reached with an underscore behind it.
        if (name && PyObject_HasAttr(reinterpret_cast<PyObject *>(entry.made), name.get())) {
            name = object(PyUnicode_FromFormat("%s_", field.name));
        }
        if (!property || !name ||
            PyObject_SetAttr(reinterpret_cast<PyObject *>(entry.made), name.get(), property.get()) != 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

const field_entry *type_entry::field_named(std::string_view wanted) const {
    for (const field_entry &field : fields) {
        if (wanted == field.name) {
            return &field;
        }
    }
    return nullptr;
}

const field_entry *type_entry::field_named(PyObject *wanted) const {
    for (const field_entry &field : fields) {
        if (wanted == field.interned) {
            return &field;
        }
    }
    for (const field_entry &field : fields) {
        if (PyUnicode_Check(wanted) != 0 && PyUnicode_Compare(wanted, field.interned) == 0) {
            return &field;
        }
    }
    return nullptr;
}

bool read_types() {
    for (u_int32 index = 0; index < ptp_cfg_type_count(); ++index) {
        auto entry = std::make_unique<type_entry>();
        entry->type = ptp_cfg_type_at(index);
        entry->size = sizeof(ptp_cfg_type_description);
        ptp_cfg_type_describe(entry->type, entry.get());
        types_by_handle[entry->type] = entry.get();
        types.push_back(std::move(entry));
    }
    for (const auto &entry : types) {
        read_fields(*entry);
    }
    return true;
}

const type_entry *entry_of(const ptp_cfg_type *type) { return types_by_handle.at(type); }

bool add_record_class(PyObject *module) {
    static PyType_Slot slots[] = {{Py_tp_doc, const_cast<char *>("Class of records; it knows their type.")},
                                  {0, nullptr}};
    static PyType_Spec spec = {"ptp_cfg._native.RecordClass", sizeof(record_class), 0,
                               Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE, slots};
    object made(PyType_FromSpecWithBases(&spec, reinterpret_cast<PyObject *>(&PyType_Type)));
    record_class_type = reinterpret_cast<PyTypeObject *>(made.get());
    return made && PyModule_AddObjectRef(module, "RecordClass", made.release()) == 0;
}

const type_entry *entry_of(const PyTypeObject *made) {
    for (; made != nullptr &&
           PyObject_TypeCheck(reinterpret_cast<PyObject *>(const_cast<PyTypeObject *>(made)), record_class_type);
         made = made->tp_base) {
        if (const type_entry *entry = reinterpret_cast<const record_class *>(made)->entry) {
            return entry;
        }
    }
    return nullptr;
}

bool create_handles() {
    for (const u_int32 tracking : {VELA_STTR_OFF, VELA_STTR_ON}) {
        vela_handle_options options{};
        options.size = sizeof options;
        options.tracking = tracking;
        u_int32 err = 0;
        handles[tracking == VELA_STTR_ON ? 1 : 0] = vela_handle_create(&options, &err);
        if (err != 0) {
            PyErr_NoMemory();
            return false;
        }
    }
    return true;
}

vela_handle *handle_for(bool tracked) { return handles[tracked ? 1 : 0]; }

PyObject *describe_types(PyObject *, PyObject *) {
    return list_of(static_cast<u_int32>(types.size()), [](u_int32 index) { return describe_type(*types[index]); });
}

PyObject *bind_enumeration(PyObject *, PyObject *arguments) {
    const char *name = nullptr;
    PyObject *members = nullptr;
    if (PyArg_ParseTuple(arguments, "sO!", &name, &PyDict_Type, &members) == 0) {
        return nullptr;
    }
    type_entry *entry = entry_named(name);
    if (entry == nullptr) {
        return nullptr;
    }
    entry->members = object::borrowed(members);
    for (long number = 0;; ++number) {
        object key(PyLong_FromLong(number));
        PyObject *member = key ? PyDict_GetItemWithError(members, key.get()) : nullptr;
        if (member == nullptr) {
            break;
        }
        entry->numbered.push_back(member);
    }
    if (PyErr_Occurred() != nullptr) {
        return nullptr;
    }
    Py_RETURN_NONE;
}

PyObject *make_record_class(PyObject *, PyObject *arguments) {
    const char *name = nullptr;
    PyObject *base = nullptr;
    PyObject *contents = nullptr;
    if (PyArg_ParseTuple(arguments, "sOO!", &name, &base, &PyDict_Type, &contents) == 0) {
        return nullptr;
    }
    type_entry *entry = entry_named(name);
    if (entry == nullptr) {
        return nullptr;
    }
    object made(PyObject_CallFunction(reinterpret_cast<PyObject *>(record_class_type), "s(O)O", name, base, contents));
    if (!made) {
        return nullptr;
    }
    reinterpret_cast<record_class *>(made.get())->entry = entry;
    entry->made = reinterpret_cast<PyTypeObject *>(Py_NewRef(made.get()));
    return add_properties(*entry) ? made.release() : nullptr;
}

}  // namespace python
