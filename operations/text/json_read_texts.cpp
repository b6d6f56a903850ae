// Reading JSON: texts, and their memory.
#include "operations/text/json_reader.h"

namespace ptp_cfg {

namespace {

constexpr u_int32 longest_string = 255;

}  // namespace

/** Bytes that are no text, as {"$bytes": "41ff"}. */
bool json_reader::text_bytes(char *bytes, size_t *count) {
    const size_t at = here();
    json_string digits;
    scanner_.take('{');
    scanner_.pass_blanks();
    if (!scanner_.take_name(json_bytes_member, sizeof json_bytes_member - 1) || !scanner_.take(':') ||
        scanner_.next() != '"') {
        return fault(at, VELA_EINVAL, "a text in quotes is wanted, or {\"$bytes\": \"41ff\"}");
    }
    if (!quoted(&digits, "a text in quotes")) {
        return false;
    }
    *count = digits.inner.size() / 2;
    bool is_hex = digits.inner.size() % 2 == 0;
    for (size_t i = 0; is_hex && i < *count; ++i) {
        u_int8 byte = 0;
        is_hex = read_hex_pair(digits.inner.data() + 2 * i, &byte);
        if (i < longest_string) {
            bytes[i] = static_cast<char>(byte);
        }
    }
    return (is_hex && scanner_.take('}')) ||
           fault(at, VELA_EINVAL, "\"$bytes\" holds pairs of hexadecimal digits, and stands alone");
}

bool json_reader::store_text(const field_descriptor &field, void *instance, const char *bytes, size_t count) {
    vela_handle *handle = source_.handle;
    var_string *stored = as<var_string>(storage(field, instance));
    if (pass_ == json_pass::check) {
        return texts_.add(bytes, count) || fail_by(VELA_ENOMEM);
    }
    if (pass_ == json_pass::check_and_store) {
        var_string_set(handle, source_.mem_class, stored, bytes, static_cast<u_int32>(count), &err_);
        if (err_ != 0) {
            return false;
        }
    } else {
        var_string_destroy_internal(handle, source_.mem_class, stored, 1);
        notify(handle, source_.mem_class, stored, sizeof *stored);
        *stored = texts_.take();
    }
    u_int8 *companion = at(instance, field.companion_offset);
    notify(handle, source_.mem_class, companion, 1);
    *companion = static_cast<u_int8>(count);
    return true;
}

bool json_reader::text(const field_descriptor &field, void *instance) {
    char bytes[longest_string];
    size_t count = 0;
    const char first = scanner_.next();
    const size_t at = here();
    if (first == '{') {
        if (!text_bytes(bytes, &count)) {
            return false;
        }
    } else {
        json_string string;
        if (!quoted(&string, "a text in quotes")) {
            return false;
        }
        count = unescape_json(string.inner, bytes, sizeof bytes);
    }
    if (count > sizeof bytes) {
        return fault(at, VELA_ENOSPC, "%zu bytes are more than the %zu it can hold", count, sizeof bytes);
    }
    return store_text(field, instance, bytes, count);
}

// ---- prepared texts -------------------------------------------------------------------------------------------------

json_texts::~json_texts() {
    vela_handle *handle = source_.handle;
    while (taken_ < count_) {
        if (char *left = take()) {
            handle->free(handle->cookie, source_.mem_class, left);
        }
    }
    if (texts_ != own_) {
        handle->free(handle->cookie, source_.mem_class, texts_);
    }
}

bool json_texts::grow() {
    vela_handle *handle = source_.handle;
    void *memory = handle->alloc(handle->cookie, source_.mem_class, sizeof(char *) * room_ * 2);
    if (memory == nullptr) {
        return false;
    }
    memcpy(memory, texts_, sizeof(char *) * count_);
    if (texts_ != own_) {
        handle->free(handle->cookie, source_.mem_class, texts_);
    }
    texts_ = static_cast<char **>(memory);
    room_ *= 2;
    return true;
}

bool json_texts::add(const char *characters, size_t count) {
    if (count_ == room_ && !grow()) {
        return false;
    }
    vela_handle *handle = source_.handle;
    char *copy = nullptr;
    if (count != 0) {
        copy = static_cast<char *>(handle->alloc(handle->cookie, source_.mem_class, count + 1));
        if (copy == nullptr) {
            return false;
        }
        memcpy(copy, characters, count);
        copy[count] = '\0';
    }
    texts_[count_++] = copy;
    return true;
}

char *json_texts::take() { return texts_[taken_++]; }

}  // namespace ptp_cfg
