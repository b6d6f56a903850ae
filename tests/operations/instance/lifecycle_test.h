// What the tests of the life of structures share.
#pragma once

#include <cerrno>
#include <cstring>
#include <iterator>

#include "layout.h"
#include "oracle_model.h"
#include "ptp_cfg/clock.h"
#include "ptp_cfg/port_stream.h"
#include "recording_handle.h"
#include "runtime_failures.h"

namespace ptp_cfg_test {

class lifecycle_test : public family_test, public testing::WithParamInterface<hook_set> {
  protected:
    lifecycle_test() { use_hooks(GetParam()); }
    owned<ptp_clock_quality> make_quality() {
        return own(ptp_clock_quality_create(handle, test_class), ptp_clock_quality_destroy);
    }
    owned<ptp_port_identity> make_port_identity() {
        return own(ptp_port_identity_create(handle, test_class), ptp_port_identity_destroy);
    }
};

/** What a header's initialisation announces, `offset` being where its instance lies. */
inline std::vector<range> header_at(size_t offset) {
    return {{offset + 9, 1}, {offset + 8, 1}, {offset, 8}, {offset + 10, 1}};
}
constexpr size_t header_bytes = 11;
inline range flags_at(size_t offset) { return {offset + 10, 1}; }
inline std::vector<range> operator+(std::vector<range> a, const std::vector<range> &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

inline vela_variant_row &row(const vela_type_info &record, int index = 0) { return record.variant_table->rows[index]; }

}  // namespace ptp_cfg_test
