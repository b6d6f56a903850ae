// An input that is read as far as it is needed, however long it is.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/file_descriptor.h"
#include "files.h"
#include "hex_reader.h"

namespace ptpcfg {

class input_stream {
  public:
    /** Opens a file, or takes standard input for "-". */
    explicit input_stream(const std::string &path);

    /** As people say it, for messages. */
    const std::string &name() const { return name_; }
    /** At least the next `count` bytes, or all that are left; valid until the next call. */
    std::string_view ahead(size_t count);
    /** Passes bytes that were ahead. */
    void skip(size_t count);
    /** Where in the input the bytes ahead begin. */
    uint64_t offset() const { return offset_; }
    /** From here on the input is the digits of bytes. To be called before anything was passed. */
    void read_as_hex();

  private:
    bool read_more();

    std::string name_;
    base::file_descriptor file_;
    std::string buffer_;
    size_t begin_ = 0;  // of what is ahead, in the buffer
    uint64_t offset_ = 0;
    std::unique_ptr<hex_reader> hex_;
};

}  // namespace ptpcfg
