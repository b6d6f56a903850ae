#include "harness/limits.h"

namespace bench {

const std::vector<limit> &limits() {
    static const std::vector<limit> all = {
        {"clock_record", "encode", "ours", "hand", 1.5},
        {"clock_record", "decode", "ours", "hand", 1.5},
        {"socket_message", "to handler", "ours", "raw bytes", 1.5},
    };
    return all;
}

}  // namespace bench
