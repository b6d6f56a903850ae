// What printing values shares: beginning a line.
#include "text_io.h"

namespace velalib {

void begin_line(bounded_text &out, u_int32 indent, const char *label, const char *type_name) {
    out.append_blanks(indent);
    if (label != nullptr) {
        out.append(label);
    }
    out.append('@');
    out.append(type_name);
    out.append(':');
}

}  // namespace velalib
