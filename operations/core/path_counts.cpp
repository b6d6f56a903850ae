// Test builds only: which path encodings took, for tests to ask (tests/support/wire_paths.h).
#include "operations/core/runtime.h"

namespace ptp_cfg {

[[gnu::tls_model("initial-exec")]] constinit thread_local u_int64 wire_path_counts[3];

}  // namespace ptp_cfg

extern "C" VELA_API const u_int64 *ptp_cfg_counted_wire_paths();
extern "C" const u_int64 *ptp_cfg_counted_wire_paths() { return ptp_cfg::wire_path_counts; }
