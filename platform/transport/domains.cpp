// The four domains by name, and registering their handlers.
#include "domains.h"

#include <string.h>

namespace vela::transport {
namespace {

domain gable{"gable", nullptr};
domain wicket{"wicket", nullptr};
domain skein{"skein", nullptr};
domain osprey{"osprey", nullptr};

u_int32 set_handler(domain &of, vela_bundle_handler handler) {
    of.handler.store(handler, std::memory_order_release);
    return VELA_OK;
}

u_int32 clear_handler(domain &of) {
    bool was_set = of.handler.exchange(nullptr, std::memory_order_acq_rel) != nullptr;
    return was_set ? VELA_OK : VELA_ENOENT;
}

}  // namespace

const domain *find_domain(const char *name) {
    for (const domain *each : {&gable, &wicket, &skein, &osprey}) {
        if (name != nullptr && strcmp(each->name, name) == 0) {
            return each;
        }
    }
    return nullptr;
}

}  // namespace vela::transport

using namespace vela::transport;

u_int32 gable_bundle_handler_register(vela_bundle_handler handler) { return set_handler(gable, handler); }
u_int32 wicket_bundle_handler_register(vela_bundle_handler handler) { return set_handler(wicket, handler); }
u_int32 skein_bundle_handler_register(vela_bundle_handler handler) { return set_handler(skein, handler); }
u_int32 osprey_bundle_handler_register(vela_bundle_handler handler) { return set_handler(osprey, handler); }

u_int32 gable_bundle_handler_unregister(void) { return clear_handler(gable); }
u_int32 wicket_bundle_handler_unregister(void) { return clear_handler(wicket); }
u_int32 skein_bundle_handler_unregister(void) { return clear_handler(skein); }
u_int32 osprey_bundle_handler_unregister(void) { return clear_handler(osprey); }
