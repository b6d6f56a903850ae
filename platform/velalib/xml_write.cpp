// Writes XML elements.
#include "xml_write.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "velalib_inline.h"

namespace {

/** The attribute that carries a state flag, with the blank before it; empty for flag 0. */
class state_attribute {
  public:
    explicit state_attribute(u_int8 flag) {
        if (flag == 0) {
            return;
        }
        constexpr char prefix[] = " state=\"";
        length_ = sizeof prefix - 1;
        memcpy(text_, prefix, length_);
        if (flag >= 100) {
            text_[length_++] = static_cast<char>('0' + flag / 100);
        }
        if (flag >= 10) {
            text_[length_++] = static_cast<char>('0' + flag / 10 % 10);
        }
        text_[length_++] = static_cast<char>('0' + flag % 10);
        text_[length_++] = '"';
    }
    const char *text() const { return text_; }
    size_t length() const { return length_; }

  private:
    char text_[16];
    size_t length_ = 0;
};

char *put(char *at, const char *text, size_t length) {
    memcpy(at, text, length);
    return at + length;
}

char *put_start_tag(char *at, const char *name, size_t name_length, const char *attribute, size_t attribute_length) {
    *at++ = '<';
    at = put(at, name, name_length);
    at = put(at, attribute, attribute_length);
    *at++ = '>';
    return at;
}

char *put_end_tag(char *at, const char *name, size_t name_length) {
    *at++ = '<';
    *at++ = '/';
    at = put(at, name, name_length);
    *at++ = '>';
    return at;
}

/** Writes a start tag if it fits as a whole. */
u_int32 write_start_tag(vela_handle *handle, char *buffer, const char *name, const char *attribute,
                        size_t attribute_length, u_int32 room, u_int32 *err) {
    const size_t name_length = strlen(name);
    const size_t length = name_length + attribute_length + 2;
    if (length > room) {
        return vela_inline::fail(handle, err, VELA_EMSGSIZE);
    }
    put_start_tag(buffer, name, name_length, attribute, attribute_length);
    return static_cast<u_int32>(length);
}

}  // namespace

namespace velalib {

open_element write_tags(vela_handle *handle, const char *name, char *buffer, size_t text_length, u_int32 room,
                        u_int8 state_flag, u_int32 *err) {
    const size_t name_length = strlen(name);
    const state_attribute attribute(state_flag);
    const size_t length = name_length * 2 + attribute.length() + text_length + 5;
    if (length > room) {
        vela_inline::fail(handle, err, VELA_EMSGSIZE);
        return {nullptr, 0};
    }
    char *text = put_start_tag(buffer, name, name_length, attribute.text(), attribute.length());
    put_end_tag(text + text_length, name, name_length);
    return {text, static_cast<u_int32>(length)};
}

u_int32 write_element(vela_handle *handle, const char *name, char *buffer, const char *text, size_t text_length,
                      u_int32 room, u_int8 state_flag, u_int32 *err) {
    const open_element element = write_tags(handle, name, buffer, text_length, room, state_flag, err);
    if (element.text != nullptr) {
        memcpy(element.text, text, text_length);
    }
    return element.length;
}

}  // namespace velalib

u_int32 start_tag(vela_handle *handle, u_int32, char *buffer, const char *name, u_int32 room, u_int8 state_flag,
                  u_int32 *err) {
    if (*err != 0) {
        return 0;
    }
    const state_attribute attribute(state_flag);
    return write_start_tag(handle, buffer, name, attribute.text(), attribute.length(), room, err);
}

u_int32 start_tag_timestamp(vela_handle *handle, u_int32, char *buffer, const char *name, u_int32 room, u_int32 *err) {
    if (*err != 0) {
        return 0;
    }
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm utc = {};
    gmtime_r(&now.tv_sec, &utc);
    char attribute[96];
    const int length =
        snprintf(attribute, sizeof attribute, " time=\"%04d-%02d-%02dT%02d:%02d:%02d.%09ldZ\"", utc.tm_year + 1900,
                 utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, static_cast<long>(now.tv_nsec));
    return write_start_tag(handle, buffer, name, attribute, static_cast<size_t>(length), room, err);
}

u_int32 end_tag(vela_handle *handle, u_int32, char *buffer, const char *name, u_int32 room, u_int32 *err) {
    const size_t name_length = strlen(name);
    if (name_length + 3 > room) {
        if (*err == 0) {
            vela_inline::fail(handle, err, VELA_EMSGSIZE);
        }
        return 0;
    }
    put_end_tag(buffer, name, name_length);
    return static_cast<u_int32>(name_length + 3);
}

u_int32 xml_enum_print(vela_handle *handle, u_int32, char *buffer, const char *text, u_int32 room, u_int32 length,
                       u_int32 *err) {
    if (*err != 0) {
        return 0;
    }
    if (length > room) {
        return vela_inline::fail(handle, err, VELA_EMSGSIZE);
    }
    memcpy(buffer, text, length);
    return length;
}
