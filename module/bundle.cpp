// The application's bundle handler, registered with the four transport domains.
#include "ptp_cfg/module.h"
#include "vela_transport.h"

ptp_cfg_bundle_handler ptp_cfg_bundle_registered_handler = nullptr;

extern "C" {

ptp_cfg_bundle_handler ptp_cfg_bundle_handler_register(ptp_cfg_bundle_handler handler) {
    const ptp_cfg_bundle_handler before = ptp_cfg_bundle_registered_handler;
    ptp_cfg_bundle_registered_handler = handler;
    gable_bundle_handler_register(handler);
    wicket_bundle_handler_register(handler);
    skein_bundle_handler_register(handler);
    osprey_bundle_handler_register(handler);
    return before;
}

ptp_cfg_bundle_handler ptp_cfg_bundle_handler_unregister(void) {
    const ptp_cfg_bundle_handler before = ptp_cfg_bundle_registered_handler;
    ptp_cfg_bundle_registered_handler = nullptr;
    gable_bundle_handler_unregister();
    wicket_bundle_handler_unregister();
    skein_bundle_handler_unregister();
    osprey_bundle_handler_unregister();
    return before;
}

}  // extern "C"
