// Prints the variant tables, for diagnosis.
#include "module/reflection.h"
#include "ptp_cfg/module.h"

extern "C" void ptp_cfg_type_variant_dump(ptp_cfg_print_fn print) {
    using namespace ptp_cfg;
    static const bitlog_trace_points points = {"ptp_cfg", 0, 64};
    for (vela_type_info *const *type_info = type_table; *type_info != nullptr; ++type_info) {
        const vela_variant_table *table = (*type_info)->variant_table;
        if (table == nullptr) {
            emit(points, trace::module::dump_without_table);
            continue;
        }
        print("n_variants %d\n", table->count);
        for (int row = 0; row < table->count; ++row) {
            print("variant %d used length %d alloc slop %d\n", row, static_cast<int>(table->rows[row].used_length),
                  static_cast<int>(table->rows[row].alloc_slop));
        }
    }
}
