// Python objects as values that release themselves, and the conversions that every source here needs.
#pragma once

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <string>
#include <string_view>
#include <utility>

#include "velalib.h"

namespace python {

/** Every call of the package uses this memory class. */
constexpr u_int32 memory_class = 0;

/** Owns one reference, or none after a call that failed. */
class object {
  public:
    object() = default;
    explicit object(PyObject *owned) : pointer_(owned) {}
    object(object &&other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
    object &operator=(object &&other) noexcept {
        std::swap(pointer_, other.pointer_);
        return *this;
    }
    object(const object &) = delete;
    object &operator=(const object &) = delete;
    ~object() { Py_XDECREF(pointer_); }

    static object borrowed(PyObject *pointer) {
        Py_XINCREF(pointer);
        return object(pointer);
    }
    PyObject *get() const { return pointer_; }
    PyObject *release() { return std::exchange(pointer_, nullptr); }
    explicit operator bool() const { return pointer_ != nullptr; }

  private:
    PyObject *pointer_ = nullptr;
};

/** Bytes that another object lends; false in a condition, with a TypeError, when it has none. */
class lent_bytes {
  public:
    explicit lent_bytes(PyObject *from) {
        if (PyBytes_CheckExact(from)) {
            data_ = PyBytes_AS_STRING(from);
            size_ = static_cast<size_t>(PyBytes_GET_SIZE(from));
        } else if (PyObject_GetBuffer(from, &view_, PyBUF_SIMPLE) == 0) {
            data_ = static_cast<const char *>(view_.buf);
            size_ = static_cast<size_t>(view_.len);
            data_ = data_ == nullptr ? "" : data_;
        }
    }
    ~lent_bytes() {
        if (view_.obj != nullptr) {
            PyBuffer_Release(&view_);
        }
    }
    lent_bytes(const lent_bytes &) = delete;
    lent_bytes &operator=(const lent_bytes &) = delete;

    explicit operator bool() const { return data_ != nullptr; }
    const char *data() const { return data_; }
    const u_int8 *octets() const { return reinterpret_cast<const u_int8 *>(data_); }
    size_t size() const { return size_; }
    std::string_view text() const { return {data_, size_}; }

  private:
    Py_buffer view_{};
    const char *data_ = nullptr;
    size_t size_ = 0;
};

/** A length as the library counts; what is longer is no encoding of it and fails there. */
inline u_int32 length32(size_t length) { return length > INT32_MAX ? INT32_MAX : static_cast<u_int32>(length); }

/** Text from outside; bytes that are no UTF-8 become lone surrogates, and bytes again by text_bytes(). */
inline PyObject *text_object(std::string_view text) {
    return PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape");
}
inline object text_bytes(PyObject *text) { return object(PyUnicode_AsEncodedString(text, "utf-8", "surrogateescape")); }

/** Lets other threads of Python run while it lives. */
class interpreter_released {
  public:
    interpreter_released() : state_(PyEval_SaveThread()) {}
    ~interpreter_released() { PyEval_RestoreThread(state_); }
    interpreter_released(const interpreter_released &) = delete;
    interpreter_released &operator=(const interpreter_released &) = delete;

  private:
    PyThreadState *state_;
};

/** A function of Python's calling convention as the tables of methods hold them. */
template <typename function>
PyCFunction method(function *call) {
    return reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(call));
}

}  // namespace python
