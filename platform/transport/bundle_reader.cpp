// Reading bundles from outside: no length in them is believed before it was compared with what is there.
#include "frame.h"

using namespace vela::transport;

namespace {

enum reader_state : u_int32 { at_end = 0, in_bundle = 1, at_single_message = 2 };

u_int32 finish(vela_bundle_reader &reader, vela_bundle_item &item, u_int32 err, const char *reason) {
    reader.state = at_end;
    item.err = err;
    item.reason = reason;
    return 1;
}

// The item of a message that lies within the bytes, whatever it holds.
u_int32 take(vela_bundle_reader &reader, vela_bundle_item &item, u_int32 position, u_int32 length) {
    const u_int8 *message = reader.bytes + position;
    reader.position = position + length;
    ++reader.index;
    item.length = length;
    item.reason = message_fault(message, length);
    if (item.reason != nullptr) {
        item.err = length < VELA_BUNDLE_LEAST_MESSAGE ? VELA_EMSGSIZE : VELA_EINVAL;
    } else {
        item.message = message;
    }
    return 1;
}

}  // namespace

void vela_bundle_read(vela_bundle_reader *reader, const u_int8 *bytes, u_int32 length, u_int32 *err) {
    *reader = vela_bundle_reader{bytes, length, 0, 0, 0, at_end};
    if (*err != 0) {
        return;
    }
    if (bytes == nullptr || length == 0) {
        *err = VELA_EMSGSIZE;
    } else if (bytes[0] == VELA_MESSAGE_TAG) {
        reader->count = 1;
        reader->state = at_single_message;
    } else if (bundle_fault(bytes, length) != nullptr) {
        bool cut =
            length < VELA_BUNDLE_HEADER || (load_u32(bytes) == VELA_BUNDLE_MAGIC && load_u32(bytes + 12) > length);
        *err = cut ? VELA_EMSGSIZE : VELA_EINVAL;
    } else {
        reader->count = load_u32(bytes + 8);
        reader->position = VELA_BUNDLE_HEADER;
        reader->state = in_bundle;
    }
}

u_int32 vela_bundle_next(vela_bundle_reader *reader, vela_bundle_item *item) {
    if (reader->state == at_end) {
        return 0;
    }
    *item = vela_bundle_item{nullptr, 0, reader->index, reader->position, 0, nullptr};
    if (reader->state == at_single_message) {
        reader->state = at_end;
        return take(*reader, *item, 0, reader->length);
    }
    u_int32 left = reader->length - reader->position;
    if (left == 0 || reader->index == reader->count) {
        bool complete = left == 0 && reader->index == reader->count;
        reader->state = at_end;
        return complete
                   ? 0
                   : finish(*reader, *item, VELA_EINVAL,
                            left == 0 ? "the bundle ends before its last message" : "bytes after the last message");
    }
    if (left < VELA_BUNDLE_PREFIX) {
        return finish(*reader, *item, VELA_EMSGSIZE, "the bundle ends within the length of a message");
    }
    u_int32 length = load_u32(reader->bytes + reader->position);
    if (length > left - VELA_BUNDLE_PREFIX) {
        return finish(*reader, *item, VELA_EMSGSIZE, "the bundle ends within a message");
    }
    return take(*reader, *item, reader->position + VELA_BUNDLE_PREFIX, length);
}
