// A message as the bytes of a ring's record, and back.
#pragma once

#include "bitlog.h"
#include "ring_layout.h"

namespace bitlog {

/** Fills all but sequence, time and thread. Returns the bytes of the record that are in use, whole words. */
size_t pack(const bitlog_record &message, ring_record &record);

/** Strings of an unpacked message, terminated. */
struct message_strings {
    char text[4][sizeof(ring_record::payload) + 1];
};

/** Fills all but the points. False when the bytes are none that pack() makes. */
bool unpack(const ring_record &record, bitlog_record &message, message_strings &strings);

}  // namespace bitlog
