// What a build decides: whose runtime the library calls, and whether encodings count the path that they take.
#pragma once

#include "velalib.h"

#define PTP_CFG_INLINE inline __attribute__((always_inline))

// The runtime's inline forms are used unless another runtime, which only exports its functions, is to be linked.
#ifdef PTP_CFG_EXPORTED_RUNTIME
#include "velalib/inline/wire.h"  // byte order alone
#define VELA_CALL(name) ::name
#else
#include "velalib_inline.h"
#define VELA_CALL(name) vela_inline::name
#endif

namespace ptp_cfg {

#ifdef PTP_CFG_EXPORTED_RUNTIME
inline constexpr bool has_own_runtime = false;
// Another runtime has no such notes; nobody asks.
PTP_CFG_INLINE bool has_address_references(const vela_handle *) { return true; }
PTP_CFG_INLINE int32 work_buffer_room(vela_handle *) { return 0; }
#else
/** Whether the primitives are the inline forms of the library's own runtime, so that what they do is known. */
inline constexpr bool has_own_runtime = true;
using vela_inline::has_address_references;
using vela_inline::work_buffer_room;
#endif

/** The ways that an encoding can go; test builds count for each thread which ones did, see path_counts.cpp. */
enum class wire_path : u_int8 { unrolled, reference, versioned };

#ifdef PTP_CFG_COUNT_PATHS
[[gnu::tls_model("initial-exec")]] extern constinit thread_local u_int64 wire_path_counts[3];
#endif

PTP_CFG_INLINE void count_path([[maybe_unused]] wire_path path) {
#ifdef PTP_CFG_COUNT_PATHS
    ++wire_path_counts[static_cast<u_int8>(path)];
#endif
}

}  // namespace ptp_cfg
