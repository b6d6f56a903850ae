// Fields as Python values, in the forms that people write.
#include "values.h"

#include <cstring>

#include "errors.h"

namespace python {
namespace {

template <class type, class kind>
constexpr text_form form_of(const char *name) {
    return {name, sizeof(type), kind::written,
            [](values::bounded_text &text, const void *value) { kind::write(text, *static_cast<const type *>(value)); },
            [](std::string_view text, void *value) { return kind::read(text, static_cast<type *>(value)); }};
}

#define PTP_CFG_PYTHON_FORM(type, kind, width, doc) form_of<type, kind>(#type),
constexpr text_form forms[] = {VELA_EACH_PRIMITIVE(PTP_CFG_PYTHON_FORM)};
#undef PTP_CFG_PYTHON_FORM

PyObject *ipv4_text(u_int64 number) {
    return PyUnicode_FromFormat("%d.%d.%d.%d", static_cast<int>(number >> 24 & 0xFF),
                                static_cast<int>(number >> 16 & 0xFF), static_cast<int>(number >> 8 & 0xFF),
                                static_cast<int>(number & 0xFF));
}

PyObject *member_of(const type_entry &enumeration, u_int32 number) {
    if (number < enumeration.numbered.size()) {
        return Py_NewRef(enumeration.numbered[number]);
    }
    object key(PyLong_FromUnsignedLong(number));
    PyObject *member = key ? PyDict_GetItemWithError(enumeration.members.get(), key.get()) : nullptr;
    return member != nullptr ? Py_NewRef(member) : PyErr_Occurred() != nullptr ? nullptr : key.release();
}

PyObject *number_object(const field_entry &field, u_int64 value) {
    switch (field.kind) {
        case PTP_CFG_FIELD_SIGNED:
            return PyLong_FromLongLong(static_cast<long long>(value));
        case PTP_CFG_FIELD_BOOLEAN:
            return PyBool_FromLong(value != 0);
        case PTP_CFG_FIELD_ENUMERATION:
            return member_of(*field.inner, static_cast<u_int32>(value));
        default:
            return field.is_ipv4_number ? ipv4_text(value) : PyLong_FromUnsignedLongLong(value);
    }
}

PyObject *form_text(const text_form &form, const void *value) {
    char room[values::longest_text];
    values::bounded_text text(room, sizeof room);
    form.write(text, value);
    return PyUnicode_FromStringAndSize(room, text.length());
}

PyObject *text_value(const record_object *record, const field_entry &field, const char *characters) {
    u_int32 err = 0;
    const u_int64 length = field.text_length == nullptr
                               ? std::strlen(characters)
                               : ptp_cfg_field_get_value(field.owner->type, field.text_length->index, record->handle(),
                                                         memory_class, record->instance, 0, &err);
    return text_object({characters, err == 0 ? static_cast<size_t>(length) : 0});
}

bool is_number(const field_entry &field) {
    return field.kind == PTP_CFG_FIELD_UNSIGNED || field.kind == PTP_CFG_FIELD_SIGNED ||
           field.kind == PTP_CFG_FIELD_BOOLEAN || field.kind == PTP_CFG_FIELD_ENUMERATION;
}

}  // namespace

PyObject *raise_access(const record_object *record, const field_entry &field, u_int32 element, u_int32 err) {
    if (err == VELA_EEPOCH && !has_field_in(record->instance, field)) {
        return raise_field(record, field, element, err, "the record's variant does not have this field");
    }
    return raise_field(record, field, element, err, error_text(record->handle(), err));
}

const text_form *text_form_of(const char *type_name) {
    for (const text_form &form : forms) {
        if (std::strcmp(form.type, type_name) == 0) {
            return &form;
        }
    }
    return nullptr;
}

PyObject *get_element(record_object *record, const field_entry &field, u_int32 element) {
    u_int32 err = 0;
    vela_handle *handle = record->handle();
    if (is_number(field)) {
        const u_int64 value = ptp_cfg_field_get_value(field.owner->type, field.index, handle, memory_class,
                                                      record->instance, element, &err);
        return err != 0 ? raise_access(record, field, element, err) : number_object(field, value);
    }
    void *place =
        ptp_cfg_field_get(field.owner->type, field.index, handle, memory_class, record->instance, element, &err);
    if (err != 0) {
        return raise_access(record, field, element, err);
    }
    if (place == nullptr) {
        Py_RETURN_NONE;
    }
    switch (field.kind) {
        case PTP_CFG_FIELD_STRUCTURE:
            return view_instance(record, field, element, place);
        case PTP_CFG_FIELD_TEXT:
            return text_value(record, field, static_cast<const char *>(place));
        default:
            return form_text(*field.form, place);
    }
}

PyObject *get_field(record_object *record, const field_entry &field) {
    return field.is_array != 0 ? new_array(record, field) : get_element(record, field, 0);
}

PyObject *byte_list_text(const record_object *record) {
    const field_entry &octets = record->entry->fields[0];
    std::string text;
    for (u_int32 element = 0; element < octets.capacity; ++element) {
        u_int32 err = 0;
        const u_int64 byte = ptp_cfg_field_get_value(octets.owner->type, 0, record->handle(), memory_class,
                                                     record->instance, element, &err);
        static constexpr char digits[] = "0123456789ABCDEF";
        text += element == 0 ? "" : "-";
        text += digits[byte >> 4 & 15];
        text += digits[byte & 15];
    }
    return PyUnicode_FromStringAndSize(text.data(), static_cast<Py_ssize_t>(text.size()));
}

}  // namespace python
