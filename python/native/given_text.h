// Texts that calls are given.
#pragma once

#include <optional>

#include "objects.h"

namespace python {

/** The UTF-8 of a text that is given as str or as bytes; false in a condition, with a Python error, when it has none. */
class given_text {
  public:
    explicit given_text(PyObject *from)
        : held_(PyUnicode_Check(from) != 0 ? object(PyUnicode_AsUTF8String(from)) : object::borrowed(from)) {
        if (held_) {
            bytes_.emplace(held_.get());
        }
    }

    explicit operator bool() const { return bytes_ && *bytes_; }
    const char *data() const { return bytes_->data(); }
    size_t size() const { return bytes_->size(); }

  private:
    object held_;
    std::optional<lent_bytes> bytes_;
};

}  // namespace python
