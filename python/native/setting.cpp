// Python values on their way into fields.
#include <cstring>

#include "errors.h"
#include "reflection.h"
#include "values.h"

namespace python {
namespace {

constexpr size_t largest_opaque = 64;

/** One value on its way into a field. */
class setter {
  public:
    setter(record_object *record, const field_entry &field, u_int32 element)
        : record_(record), field_(field), element_(element) {}

    int set(PyObject *value) {
        switch (field_.kind) {
            case PTP_CFG_FIELD_BOOLEAN:
                return set_truth(value);
            case PTP_CFG_FIELD_ENUMERATION:
                return set_member(value);
            case PTP_CFG_FIELD_OPAQUE:
                return set_form(value);
            case PTP_CFG_FIELD_TEXT:
                return set_text(value);
            case PTP_CFG_FIELD_STRUCTURE:
                return set_structure(value);
            default:
                return set_number(value);
        }
    }

  private:
    int refuse(const std::string &reason, u_int32 code = VELA_EINVAL) {
        raise_field(record_, field_, field_.is_array != 0 ? element_ : no_element, code, reason);
        return -1;
    }
    int refuse_type(PyObject *value, const char *wanted) {
        raise_field_type(record_, field_, field_.is_array != 0 ? element_ : no_element,
                         std::string(wanted) + " is wanted, not " + Py_TYPE(value)->tp_name);
        return -1;
    }

    int store_number(u_int64 number) {
        u_int32 err = 0;
        ptp_cfg_field_set_value(field_.owner->type, field_.index, record_->handle(), memory_class, record_->instance,
                                element_, number, &err);
        return finish(err);
    }
    int store(const void *value, size_t length) {
        u_int32 err = 0;
        ptp_cfg_field_set(field_.owner->type, field_.index, record_->handle(), memory_class, record_->instance,
                          element_, value, length32(length), &err);
        return finish(err);
    }
    int finish(u_int32 err) {
        if (err == VELA_EEPOCH && field_.kind == PTP_CFG_FIELD_ENUMERATION && has_field_in(record_->instance, field_)) {
            return refuse(std::string("the record's variant of ") + field_.type_name + " does not have this value",
                          err);
        }
        if (err != 0) {
            raise_access(record_, field_, element_, err);
        }
        return err == 0 ? 0 : -1;
    }

    int out_of_range(PyObject *value) {
        PyErr_Clear();
        const int bits = field_.element_size * 8;
        const std::string least =
            field_.kind == PTP_CFG_FIELD_SIGNED ? std::to_string(-(1LL << (bits - 1))) : std::string("0");
        const std::string most =
            std::to_string(field_.kind == PTP_CFG_FIELD_SIGNED ? (1ULL << (bits - 1)) - 1 : ~0ULL >> (64 - bits));
        const object text(PyObject_Str(value));
        const char *shown = text ? PyUnicode_AsUTF8(text.get()) : nullptr;
        PyErr_Clear();
        return refuse((shown == nullptr ? "the number" : std::string(shown).substr(0, 32)) +
                      " does not fit; give a number from " + least + " to " + most);
    }

    int set_number(PyObject *value) {
        if (field_.is_ipv4_number && PyLong_Check(value) == 0) {
            return set_ipv4(value);
        }
        if (PyBool_Check(value) != 0 || PyIndex_Check(value) == 0) {
            return refuse_type(value, "a number");
        }
        const object number(PyNumber_Index(value));
        if (!number) {
            return -1;
        }
        const int bits = field_.element_size * 8;
        if (field_.kind == PTP_CFG_FIELD_SIGNED) {
            int overflow = 0;
            const long long given = PyLong_AsLongLongAndOverflow(number.get(), &overflow);
            const bool fits = overflow == 0 && given >= -(1LL << (bits - 1)) && given <= (1LL << (bits - 1)) - 1;
            return fits ? store_number(static_cast<u_int64>(given)) : out_of_range(number.get());
        }
        const unsigned long long given = PyLong_AsUnsignedLongLong(number.get());
        const bool fits = PyErr_Occurred() == nullptr && given <= ~0ULL >> (64 - bits);
        return fits ? store_number(given) : out_of_range(number.get());
    }

    int set_ipv4(PyObject *value) {
        ip_address address{};
        const object text(address_text(value));
        if (!text) {
            return PyErr_Occurred() != nullptr ? -1 : refuse_type(value, "an IPv4 address or its number");
        }
        const object bytes(text_bytes(text.get()));
        if (!bytes || !values::ip::read(PyBytes_AS_STRING(bytes.get()), &address) || address.family != VELA_IP_V4) {
            PyErr_Clear();
            return refuse("this is no IPv4 address; give one such as 192.0.2.1, or its number");
        }
        return store_number(vela_inline::take<u_int32>(address.bytes));
    }

    int set_truth(PyObject *value) {
        const bool is_long = PyLong_Check(value) != 0;
        const long number = is_long ? PyLong_AsLong(value) : -1;
        PyErr_Clear();
        if (!is_long) {
            return refuse_type(value, "a truth value");
        }
        return number == 0 || number == 1 ? store_number(static_cast<u_int64>(number))
                                          : refuse("a truth value is True or False");
    }

    int set_member(PyObject *value) {
        const type_entry &enumeration = *field_.inner;
        PyTypeObject *own = enumeration.numbered.empty() ? nullptr : Py_TYPE(enumeration.numbered[0]);
        object member;
        if (PyUnicode_Check(value) != 0) {
            member = object(PyObject_GetItem(reinterpret_cast<PyObject *>(own), value));
            if (!member) {
                PyErr_Clear();
                return refuse_literal(value);
            }
            value = member.get();
        }
        if (Py_TYPE(value) != own && PyLong_CheckExact(value) == 0) {
            return refuse_type(value, (std::string("a member of ") + enumeration.name).c_str());
        }
        const unsigned long long number = PyLong_AsUnsignedLongLong(value);
        if (PyErr_Occurred() != nullptr || number > UINT32_MAX) {
            PyErr_Clear();
            return refuse(std::string("the number is no value of ") + enumeration.name, VELA_EEPOCH);
        }
        return store_number(number);
    }

    int refuse_literal(PyObject *value) {
        std::vector<std::string> known;
        for (const auto &literal : ptpcfg::literals_of(field_.type)) {
            known.push_back(literal.literal);
        }
        const object bytes(text_bytes(value));
        const std::string name = bytes ? PyBytes_AS_STRING(bytes.get()) : "";
        PyErr_Clear();
        return refuse(name.substr(0, 64) + " is no value of " + field_.type_name + ptpcfg::suggestion(name, known));
    }

    /** What a text or an address of the module ipaddress says; nullptr for anything else. */
    static PyObject *address_text(PyObject *value) {
        const bool is_address = std::strncmp(Py_TYPE(value)->tp_name, "IPv", 3) == 0;
        return PyUnicode_Check(value) != 0 ? Py_NewRef(value) : is_address ? PyObject_Str(value) : nullptr;
    }

    int set_form(PyObject *value) {
        alignas(8) u_int8 room[largest_opaque] = {};
        if (PyBytes_Check(value) != 0 && field_.element_size == field_.wire_width) {
            return static_cast<size_t>(PyBytes_GET_SIZE(value)) == field_.form->size
                       ? store(PyBytes_AS_STRING(value), 0)
                       : refuse(std::to_string(field_.form->size) + " bytes are wanted");
        }
        const object text(address_text(value));
        if (!text) {
            return PyErr_Occurred() != nullptr ? -1 : refuse_type(value, "a text");
        }
        const object bytes(text_bytes(text.get()));
        if (!bytes || !field_.form->read(
                          {PyBytes_AS_STRING(bytes.get()), static_cast<size_t>(PyBytes_GET_SIZE(bytes.get()))}, room)) {
            PyErr_Clear();
            return refuse(std::string("this is no ") + field_.type_name + "; give " + field_.form->accepted);
        }
        return store(room, 0);
    }

    int set_text(PyObject *value) {
        object bytes(PyUnicode_Check(value) != 0 ? text_bytes(value) : object::borrowed(value));
        if (!bytes) {
            PyErr_Clear();
            return refuse("the text cannot be written in UTF-8");
        }
        if (PyBytes_Check(bytes.get()) == 0) {
            return refuse_type(value, "a text");
        }
        const auto length = static_cast<size_t>(PyBytes_GET_SIZE(bytes.get()));
        return length > UINT8_MAX
                   ? refuse("the text has " + std::to_string(length) + " bytes, at most 255 are allowed", VELA_ENOSPC)
                   : store(PyBytes_AS_STRING(bytes.get()), length);
    }

    int set_structure(PyObject *value) {
        u_int32 err = 0;
        void *instance = ptp_cfg_field_get(field_.owner->type, field_.index, record_->handle(), memory_class,
                                           record_->instance, element_, &err);
        if (instance == nullptr) {
            return err != 0 ? finish(err) : refuse("the message holds no such payload; make a new message");
        }
        const object view(view_instance(record_, field_, element_, instance));
        if (!view) {
            return -1;
        }
        auto *target = reinterpret_cast<record_object *>(view.get());
        if (const record_object *source = record_of(value); source != nullptr && source->entry == field_.inner) {
            return assign_record(target, source) ? 0 : -1;
        }
        if (PyDict_Check(value) != 0) {
            return set_all(target, [value](record_object *copy) { return set_fields(copy, value); });
        }
        if (field_.inner->is_byte_list && (PyUnicode_Check(value) != 0 || PyObject_CheckBuffer(value) != 0)) {
            return set_byte_list(target, value);
        }
        return refuse_type(value, (std::string("a ") + field_.inner->name).c_str());
    }

    int set_byte_list(record_object *target, PyObject *value) {
        const field_entry &octets = field_.inner->fields[0];
        if (PyUnicode_Check(value) == 0) {
            return set_array(target, octets, value);
        }
        const object text(text_bytes(value));
        std::string_view rest = text ? PyBytes_AS_STRING(text.get()) : "";
        PyErr_Clear();
        std::vector<u_int8> bytes;
        u_int8 byte = 0;
        while (rest.size() >= 2 && (rest.size() == 2 || rest[2] == '-') && values::read_hex_byte(rest.data(), &byte)) {
            bytes.push_back(byte);
            rest.remove_prefix(rest.size() == 2 ? 2 : 3);
        }
        if (!rest.empty() || bytes.size() != octets.capacity) {
            return refuse("give " + std::to_string(octets.capacity) + " bytes such as AA-BB-CC-FF-FE-00-03-30");
        }
        const object all(PyBytes_FromStringAndSize(reinterpret_cast<const char *>(bytes.data()),
                                                   static_cast<Py_ssize_t>(bytes.size())));
        return all ? set_array(target, octets, all.get()) : -1;
    }

  public:
    /** Has a copy of a record changed, and takes it over when all went well. */
    template <typename change>
    static int set_all(record_object *record, change apply) {
        const object copy(PyObject_CallMethod(reinterpret_cast<PyObject *>(record), "copy", nullptr));
        if (!copy) {
            return -1;
        }
        auto *changed = reinterpret_cast<record_object *>(copy.get());
        changed->stands_for = record;
        return apply(changed) == 0 && assign_record(record, changed) ? 0 : -1;
    }

  private:
    record_object *record_;
    const field_entry &field_;
    u_int32 element_;
};

}  // namespace

int set_element(record_object *record, const field_entry &field, u_int32 element, PyObject *value) {
    return setter(record, field, element).set(value);
}

namespace {

/** Stores octets that were given as bytes, of which none can be wrong. */
int set_octets(record_object *record, const field_entry &field, PyObject *given) {
    u_int32 err = 0;
    for (u_int32 element = 0; element < field.capacity; ++element) {
        ptp_cfg_field_set_value(field.owner->type, field.index, record->handle(), memory_class, record->instance,
                                element, static_cast<u_int8>(PyBytes_AS_STRING(given)[element]), &err);
    }
    if (err != 0) {
        raise_access(record, field, no_element, err);
    }
    return err == 0 ? 0 : -1;
}

}  // namespace

int set_array(record_object *record, const field_entry &field, PyObject *given) {
    if (PyBytes_CheckExact(given) != 0 && field.element_size == 1 && field.kind == PTP_CFG_FIELD_UNSIGNED &&
        PyBytes_GET_SIZE(given) == static_cast<Py_ssize_t>(field.capacity)) {
        return set_octets(record, field, given);
    }
    const object all(PyUnicode_Check(given) != 0 ? nullptr : PySequence_Fast(given, ""));
    if (!all) {
        PyErr_Clear();
        raise_field_type(record, field, no_element,
                         std::string("a sequence is wanted, not ") + Py_TYPE(given)->tp_name);
        return -1;
    }
    if (PySequence_Fast_GET_SIZE(all.get()) != static_cast<Py_ssize_t>(field.capacity)) {
        raise_field(record, field, no_element, VELA_EINVAL,
                    "has " + std::to_string(field.capacity) + " elements, " +
                        std::to_string(PySequence_Fast_GET_SIZE(all.get())) + " were given");
        return -1;
    }
    return setter::set_all(record, [&](record_object *copy) {
        for (u_int32 element = 0; element < field.capacity; ++element) {
            if (set_element(copy, field, element, PySequence_Fast_GET_ITEM(all.get(), element)) != 0) {
                return -1;
            }
        }
        return 0;
    });
}

int set_field(record_object *record, const field_entry &field, PyObject *value) {
    if (field.is_read_only != 0) {
        raise_field(record, field, no_element, VELA_EINVAL, "the length of a text follows from the text; set that");
        return -1;
    }
    return field.is_array != 0 ? set_array(record, field, value) : set_element(record, field, 0, value);
}

int raise_unknown(const record_object *record, const std::string &name) {
    std::vector<std::string> known;
    for (const field_entry &field : record->entry->fields) {
        known.emplace_back(field.name);
    }
    fault what;
    what.code = VELA_EINVAL;
    what.path = path_of(record) + "/" + name;
    what.reason = std::string("unknown field in ") + record->entry->short_name + ptpcfg::suggestion(name, known);
    raise_fault("FieldError", what);
    return -1;
}

int set_fields(record_object *record, PyObject *mapping) {
    PyObject *key = nullptr;
    PyObject *value = nullptr;
    for (Py_ssize_t at = 0; PyDict_Next(mapping, &at, &key, &value) != 0;) {
        const field_entry *field = record->entry->field_named(key);
        if (field == nullptr) {
            const object text(PyObject_Str(key));
            const object bytes(text ? text_bytes(text.get()).release() : nullptr);
            return bytes ? raise_unknown(record, PyBytes_AS_STRING(bytes.get())) : -1;
        }
        const object held = object::borrowed(value);
        if (set_field(record, *field, held.get()) != 0) {
            return -1;
        }
    }
    return 0;
}

int set_together(record_object *record, PyObject *mapping) {
    return setter::set_all(record, [mapping](record_object *copy) { return set_fields(copy, mapping); });
}

}  // namespace python
