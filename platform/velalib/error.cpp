#include "velalib_inline.h"

void vela_clear_last_error(vela_handle *handle) { vela_inline::vela_clear_last_error(handle); }

void vela_store_err(vela_handle *handle, u_int32 code) { vela_inline::vela_store_err(handle, code); }

void vela_store_epoch_err(vela_handle *handle, u_int32 code, u_int32 *err) {
    vela_inline::vela_store_epoch_err(handle, code, err);
}
