// Finds elements by number where the document is our own, else by path.
#include "operations/text/xml_location.h"

namespace ptp_cfg {

// Numbers are what the library's own runtime knows beyond paths. A path of any form is searched for once, however many
// elements it names: the parse begins at the first, and finds all else from there. So no form reads another value.

xml_location::xml_location(vela_xml_document *document, const char *root, xml_path &path)
    : document_(document),
      path_(path),
      text_(root),
      siblings_(nullptr),
      parent_length_(path.length()),
      length_(path.length()),
      search_(VELA_OK),
      has_number_(false),
      number_(0) {
    if constexpr (has_own_runtime) {
        search_ = xml_find_element(document, root, &number_);
        has_number_ = search_ == VELA_OK || search_ == VELA_ENOENT;
    }
}

xml_location::xml_location(vela_xml_document *document, u_int32 number, xml_path &path)
    : document_(document),
      path_(path),
      text_(path.text()),
      siblings_(nullptr),
      parent_length_(path.length()),
      length_(path.length()),
      search_(VELA_OK),
      has_number_(true),
      number_(number) {}

xml_location::xml_location(xml_children &parent, const char *name, u_int32 name_length)
    : document_(parent.parent_.document_),
      path_(parent.parent_.path_),
      text_(path_.text()),
      siblings_(&parent),
      parent_length_(path_.length()),
      search_(VELA_OK),
      has_number_(parent.parent_.has_number_),
      number_(0) {
    path_.append_step(name, name_length);
    length_ = path_.length();
    if constexpr (has_own_runtime) {
        if (has_number_) {
            number_ = xml_find_child(document_, &parent.fresh_, name);
        }
    }
}

void xml_location::go_to(u_int32 position) {
    char digits[13];
    size_t at = sizeof digits;
    digits[--at] = '\0';
    digits[--at] = ']';
    for (u_int32 rest = position; rest != 0 || digits[at] == ']'; rest /= 10) {
        digits[--at] = static_cast<char>('0' + rest % 10);
    }
    digits[--at] = '[';
    path_.cut(length_);
    path_.append(digits + at, sizeof digits - 1 - at);
    if constexpr (has_own_runtime) {
        if (number_ != 0 && position > 1) {
            number_ = xml_find_next(document_, &siblings_->fresh_, number_);
        }
    }
}

u_int32 xml_location::look() const {
    if (has_number_) {
        return number_ != 0 ? VELA_OK : VELA_ENOENT;
    }
    if (lacks_memory()) {
        return VELA_ENOMEM;
    }
    u_int32 count = 0;
    const u_int32 result = xml_get_element_nodecount(document_, text_, &count);
    if (result == VELA_ENOMEM) {
        return VELA_ENOMEM;
    }
    return result == VELA_OK && count > 0 ? VELA_OK : VELA_ENOENT;
}

const char *xml_location::path_to_read() const {
    if constexpr (has_own_runtime) {
        if (has_number_) {
            xml_select_element(document_, text_, number_);
        }
    }
    return text_;
}

xml_children::xml_children(const xml_location &parent) : parent_(parent), fresh_(0) {
    if constexpr (has_own_runtime) {
        if (parent.number_ != 0) {
            fresh_ = xml_first_child(parent.document_, parent.number_);
        }
    }
}

const char *xml_children::only_name() const {
    if constexpr (has_own_runtime) {
        return fresh_ == 0 ? nullptr : xml_last_name(parent_.document_, fresh_);
    }
    return nullptr;
}

}  // namespace ptp_cfg
