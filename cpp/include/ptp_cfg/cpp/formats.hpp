// Records and messages as JSON, XML, text and bytes in strings, and enumerations by their literals.
#ifndef PTP_CFG_CPP_FORMATS_HPP
#define PTP_CFG_CPP_FORMATS_HPP

#include <ostream>
#include <string>
#include <vector>

#include "ptp_cfg/cpp/record.hpp"
#include "ptp_cfg/json.h"
#include "velalib/xml.h"

namespace ptp {

/** What is wrong in a text, where, and what to do: "line 3, column 4: PATH: REASON" or a line like it. */
struct fault {
    u_int32 code = VELA_OK;
    std::string reason;
};

/** What value() of a format_result throws. */
class format_failure : public failure {
  public:
    explicit format_failure(fault cause) : failure(error{cause.code, nullptr}), cause_(std::move(cause)) {}
    const char *what() const noexcept override { return cause_.reason.c_str(); }

  private:
    fault cause_;
};

template <class T>
using format_result = result<T, fault>;

/** What value() does: found by its argument. */
[[noreturn]] inline void throw_error(const fault &cause) {
#if defined(__cpp_exceptions)
    throw format_failure(cause);
#else
    (void)cause;
    std::terminate();
#endif
}

namespace detail {

/** A call that failed, in words. */
inline fault fault_of(vela_handle *handle, u_int32 err) {
    char text[256];
    vela_error_text(handle, err, text, sizeof text);
    return {err, text};
}

/** Calls write(buffer, room, err), which answers the length, with more and more room. */
template <class Write>
result<std::string> written(vela_handle *handle, Write write) {
    constexpr std::size_t most = std::size_t{1} << 28;
    u_int32 err = left_behind(handle);
    for (std::size_t room = 4096; err == VELA_OK; room *= 4) {
        std::string text(room, ' ');
        const u_int32 length = write(&text[0], static_cast<u_int32>(room), &err);
        if (err == VELA_OK) {
            text.resize(length);
            return text;
        }
        if (err == VELA_EMSGSIZE && room < most) {
            err = VELA_OK;
        }
    }
    return error{err, handle};
}

inline const ptp_cfg_operations &operations_of(const ptp_cfg_type *type) {
    ptp_cfg_type_description description = {};
    description.size = sizeof description;
    ptp_cfg_type_describe(type, &description);
    return *description.operations;
}

/** A parsed document, destroyed at the end. */
class document {
  public:
    document(std::string_view text, u_int32 rules, u_int32 *err, char *error_text, size_t room) {
        vela_xml_options options = {};
        options.size = sizeof options;
        options.rules = rules;
        parsed_ = vela_xml_parse_with(text.data(), text.size(), &options, err, error_text, room);
    }
    document(const document &) = delete;
    document &operator=(const document &) = delete;
    ~document() { vela_xml_destroy(parsed_); }
    vela_xml_document *get() const { return parsed_; }

  private:
    vela_xml_document *parsed_ = nullptr;
};

/** Reads an instance of a type from a document; NULL after an error. */
inline void *from_document(vela_handle *handle, const ptp_cfg_type *type, vela_xml_document *parsed, u_int32 *err,
                           char *error_text, u_int32 room) {
    const ptp_cfg_operations &calls = operations_of(type);
    const u_int32 mem_class = handle->chained_mem_class;
    if (calls.from_document != nullptr) {
        return calls.from_document(handle, mem_class, parsed, err, error_text, room);
    }
    void *made = calls.create(handle, mem_class);
    if (made == nullptr) {
        *err = VELA_ENOMEM;
        return nullptr;
    }
    ptp_cfg_type_description description = {};
    description.size = sizeof description;
    ptp_cfg_type_describe(type, &description);
    const std::string path = std::string("//") + description.name;
    calls.from_xml(handle, mem_class, path.c_str(), parsed, made, err, error_text, room);
    if (*err != VELA_OK) {
        calls.destroy(handle, mem_class, made);
        return nullptr;
    }
    return made;
}

template <class E>
using enumeration_name = decltype(type_name(std::declval<E>()));

/** The reflected type of an enumeration. */
template <class E>
const ptp_cfg_type *enumeration_type() {
    static const ptp_cfg_type *const found = ptp_cfg_type_find(type_name(E()));
    return found;
}

constexpr u_int32 error_room = 512;

}  // namespace detail

/** The literal of a value, as it stands in XML and JSON; "" of a number that has none. */
template <class E, class = detail::enumeration_name<E>>
std::string_view literal(E value) {
    ptp_cfg_literal row = {};
    for (u_int32 i = 0; ptp_cfg_literal_describe(detail::enumeration_type<E>(), i, &row) != 0; ++i) {
        if (row.number == static_cast<u_int32>(value)) {
            return row.literal;
        }
    }
    return {};
}

/** The value of a literal; VELA_EINVAL for what is none. */
template <class E, class = detail::enumeration_name<E>>
result<E> parse(std::string_view text) {
    ptp_cfg_literal row = {};
    for (u_int32 i = 0; ptp_cfg_literal_describe(detail::enumeration_type<E>(), i, &row) != 0; ++i) {
        if (text == row.literal) {
            return static_cast<E>(row.number);
        }
    }
    return error{VELA_EINVAL, nullptr};
}

/** Writes JSON; `indent` 0 is one line, `rules` are PTP_CFG_JSON_... of ptp_cfg/json.h. */
template <class T>
result<std::string> to_json(const T &value, u_int32 indent = 0, u_int32 rules = 0) {
    vela_handle *handle = value.c_handle();
    ptp_cfg_json_options options = {};
    options.size = sizeof options;
    options.rules = rules;
    options.indent = indent;
    return detail::written(handle, [&](char *buffer, u_int32 room, u_int32 *err) {
        return ptp_cfg_to_json(handle, handle->chained_mem_class, type_of<T>(), value.c_instance(), buffer, room,
                               &options, err);
    });
}

/** Reads JSON into a new instance. */
template <class T>
format_result<T> from_json(vela_handle *handle, std::string_view text, u_int32 rules = 0) {
    ptp_cfg_json_options options = {};
    options.size = sizeof options;
    options.rules = rules;
    char reason[detail::error_room] = "";
    u_int32 err = detail::left_behind(handle);
    if (err != VELA_OK) {
        return detail::fault_of(handle, err);
    }
    void *made = ptp_cfg_from_json(handle, handle->chained_mem_class, type_of<T>(), nullptr, text.data(), text.size(),
                                   &options, &err, reason, sizeof reason);
    T owned(handle, static_cast<typename T::c_type *>(made));
    if (err != VELA_OK) {
        return *reason != '\0' ? fault{err, reason} : detail::fault_of(handle, err);
    }
    return owned;
}

/** Writes XML. */
template <class T>
result<std::string> to_xml(const T &value) {
    vela_handle *handle = value.c_handle();
    const auto call = detail::operations_of(type_of<T>()).to_xml;
    if (call == nullptr) {  // a library without XML
        return error{VELA_ENOSYS, nullptr};
    }
    return detail::written(handle, [&](char *buffer, u_int32 room, u_int32 *err) {
        return call(handle, handle->chained_mem_class, buffer, value.c_instance(), room, err);
    });
}

/** Reads XML into a new instance, strictly unless other rules of velalib/xml.h are given. */
template <class T>
format_result<T> from_xml(vela_handle *handle, std::string_view text, u_int32 rules = VELA_XML_STRICT) {
    char reason[detail::error_room] = "";
    u_int32 err = detail::left_behind(handle);
    if (err != VELA_OK) {
        return detail::fault_of(handle, err);
    }
    const detail::document parsed(text, rules, &err, reason, sizeof reason);
    if (parsed.get() == nullptr) {
        return *reason != '\0' ? fault{err, reason} : detail::fault_of(handle, err);
    }
    void *made = detail::from_document(handle, type_of<T>(), parsed.get(), &err, reason, sizeof reason);
    T owned(handle, static_cast<typename T::c_type *>(made));
    if (err != VELA_OK) {
        return *reason != '\0' ? fault{err, reason} : detail::fault_of(handle, err);
    }
    return owned;
}

/** Prints, one line per value. */
template <class T>
result<std::string> to_text(const T &value) {
    vela_handle *handle = value.c_handle();
    const auto call = detail::operations_of(type_of<T>()).print;
    return detail::written(handle, [&](char *buffer, u_int32 room, u_int32 *err) {
        return call(handle, handle->chained_mem_class, buffer, value.c_instance(), room, err);
    });
}

/** The wire form in bytes of its own. */
template <class T>
result<std::vector<u_int8>> to_bytes(const T &value) {
    constexpr std::size_t extra = 16;  // what the length does not count
    vela_handle *handle = value.c_handle();
    const u_int32 length =
        detail::operations_of(type_of<T>()).len(handle, handle->chained_mem_class, value.c_instance());
    std::vector<u_int8> bytes(length + extra);
    for (;;) {
        result<span<u_int8>> written = encode(value, span<u_int8>(bytes));
        if (written) {
            bytes.resize(written->size());
            return bytes;
        }
        if (written.error().code != VELA_EMSGSIZE || bytes.size() > (std::size_t{1} << 24)) {
            return std::move(written).error();
        }
        bytes.resize(2 * bytes.size());
    }
}

/** A record or message as it is printed; an enumeration by its literal, else its number. */
template <class T, class Traits, class = typename T::c_type>
std::basic_ostream<char, Traits> &operator<<(std::basic_ostream<char, Traits> &out, const T &value) {
    const result<std::string> text = to_text(value);
    return out << (text ? *text : std::string(text.error().name()));
}
template <class E, class Traits, class = detail::enumeration_name<E>, class = void>
std::basic_ostream<char, Traits> &operator<<(std::basic_ostream<char, Traits> &out, E value) {
    const std::string_view text = literal(value);
    return text.empty() ? out << static_cast<u_int32>(value) : out << text;
}

}  // namespace ptp

#endif
