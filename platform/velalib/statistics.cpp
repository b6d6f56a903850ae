// The exported forms of counting instances.
#include "velalib_inline.h"

void velalib_type_stats_create_object(vela_handle *handle, u_int32 mem_class, const vela_type_info *type_info,
                                      vela_variant_row *row, u_int32 *err) {
    vela_inline::velalib_type_stats_create_object(handle, mem_class, type_info, row, err);
}

void velalib_type_stats_destroy_object(vela_handle *handle, u_int32 mem_class, const vela_type_info *type_info,
                                       vela_variant_row *row, u_int32 *err) {
    vela_inline::velalib_type_stats_destroy_object(handle, mem_class, type_info, row, err);
}
