// Registration with the trace facility.
#include "operations/core/traces.h"
#include "ptp_cfg/module.h"

namespace ptp_cfg {

u_int16 trace_module_id = 0;

void trace_initialize() {
    // After the first time this is one load: every create calls it, should the facility have refused at load.
    if (trace_is_initialized()) {
        return;
    }
    static const bitlog_descriptor descriptor = {"vela_ptp_cfg", ".vela_ptp_cfg_texts"};
    u_int16 id = 0;
    if (bitlog_module_init_fn("vela_ptp_cfg", &id, &descriptor) == 0) {
        __atomic_store_n(&trace_module_id, id, __ATOMIC_RELEASE);
    }
}

/** At load: whatever is traced first, perhaps a refused call long before any instance, has its text. */
__attribute__((constructor)) static void register_at_load() { trace_initialize(); }

}  // namespace ptp_cfg

extern "C" void vela_ptp_cfg_trace_init(void) { ptp_cfg::trace_initialize(); }
