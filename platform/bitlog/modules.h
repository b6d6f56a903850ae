// The registered modules and their texts.
#pragma once

#include <stdint.h>

namespace bitlog {

// The text of a module's message, or null when the module or the text is not known. The first call for a module
// reads its file; safe from any thread.
const char *find_message_text(uint16_t module_id, uint32_t number);

}  // namespace bitlog
