// Functions that fail when a test says so, and else pass the call on.
#include "runtime_failures.h"

#include <dlfcn.h>

namespace ptp_cfg_test {

runtime_failures failures;

/** The runtime's own function of a name. */
template <class Function>
static Function *runtime_function(Function *, const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

}  // namespace ptp_cfg_test

using ptp_cfg_test::failures;
using ptp_cfg_test::runtime_function;

extern "C" void velalib_update_sttr_offset(vela_handle *handle, u_int32 mem_class, void *instance, int64_t offset) {
    if (failures.kept_offset > 0 && --failures.kept_offset == 0) {
        return;
    }
    static const auto next = runtime_function(&velalib_update_sttr_offset, "velalib_update_sttr_offset");
    next(handle, mem_class, instance, offset);
}

extern "C" int8 vela_domain_lookup_variant(vela_handle *handle, const vela_variant_domain *domain,
                                           const vela_type_info *record, u_int32 *err) {
    static const auto next = runtime_function(&vela_domain_lookup_variant, "vela_domain_lookup_variant");
    if (failures.variant_lookup != 0) {
        *err = failures.variant_lookup;
        return 0;
    }
    return next(handle, domain, record, err);
}

extern "C" void vela_hd_mapping_destroy(vela_handle *handle, u_int32 mem_class, void *instance, u_int32 *err) {
    static const auto next = runtime_function(&vela_hd_mapping_destroy, "vela_hd_mapping_destroy");
    ++failures.removals;
    if (failures.mapping_removal != 0) {
        *err = failures.mapping_removal;
        return;
    }
    next(handle, mem_class, instance, err);
}
