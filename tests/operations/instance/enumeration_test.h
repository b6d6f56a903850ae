// What the tests of enumerations share.
#pragma once

#include "ptp_cfg/enumerations.h"
#include "recording_handle.h"

namespace ptp_cfg_test {

/** Offsets in every instance. */
constexpr range type_pointer = {0, 8};
constexpr range variant_byte = {8, 1};
constexpr range allocated_variant_byte = {9, 1};
constexpr range flag_byte = {10, 1};
constexpr range value_word = {12, 4};
constexpr range whole_enumeration = {0, 16};

class enumeration_test : public family_test {
  protected:
    owned<ptp_clock_version> make_version() {
        return own(ptp_clock_version_create(handle, test_class), ptp_clock_version_destroy);
    }
    owned<ptp_clock_profile> make_profile() {
        return own(ptp_clock_profile_create(handle, test_class), ptp_clock_profile_destroy);
    }
    /** Sets a value and tells the error, which it clears. */
    u_int32 set_error(void *instance, const ptp_cfg_type *type, u_int32 value) {
        const std::string name = describe(type).name;
        if (name == "ptp_clock_profile") {
            ptp_clock_profile_set_value(handle, test_class, static_cast<ptp_clock_profile *>(instance), value, &err);
        } else if (name == "ptp_tracking_type") {
            ptp_tracking_type_set_value(handle, test_class, static_cast<ptp_tracking_type *>(instance), value, &err);
        } else {
            ptp_clock_version_set_value(handle, test_class, static_cast<ptp_clock_version *>(instance), value, &err);
        }
        const u_int32 result = err;
        EXPECT_EQ(value_of(instance) == value, result == 0) << value;
        err = 0;
        vela_clear_last_error(handle);
        return result;
    }
    static u_int32 value_of(const void *instance) { return static_cast<const u_int32 *>(instance)[3]; }
};

inline vela_variant_row &row(const vela_type_info &record, int index = 0) { return record.variant_table->rows[index]; }

}  // namespace ptp_cfg_test
