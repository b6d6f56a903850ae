// Records as text.
#pragma once

#include "bitlog.h"

namespace bitlog {

// What becomes of the control characters of texts and arguments.
enum class controls { kept, escaped };

// As bitlog_format() says, with a text that was looked up already; null when there is none.
size_t format_record(const bitlog_record &record, const char *text, char *buffer, size_t room, controls kept);

}  // namespace bitlog
