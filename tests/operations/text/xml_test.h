// What the tests of XML share.
#pragma once

#include <algorithm>
#include <cstring>

#include "ptp_cfg/clock.h"
#include "records.h"

namespace ptp_cfg_test {

inline constexpr char quality_xml[] =
    "<q><clock_class>248</clock_class><offset_scaled_log_var>-2</offset_scaled_log_var>"
    "<clock_accuracy><VELA_PTP_CLOCK_ACCURACY_WITHIN_10us/></clock_accuracy></q>";

class Xml : public family_test {
  protected:
    owned<ptp_clock_quality> make_quality(u_int8 clock_class = 248, int16 variance = -2, u_int32 accuracy = 6) {
        auto quality = own(ptp_clock_quality_create(handle, test_class), ptp_clock_quality_destroy);
        ptp_clock_quality_set_all(handle, test_class, quality.get(), clock_class, variance, accuracy, &err);
        return quality;
    }
    template <class Call>
    std::string text_of(Call render) {
        std::string text(1u << 16, '.');
        text.resize(render(text.data(), static_cast<u_int32>(text.size())));
        return text;
    }
    std::string render_quality(const ptp_clock_quality *quality, u_int8 state_flag) {
        return text_of([&](char *buffer, u_int32 room) {
            return ptp_clock_quality_to_xml(handle, test_class, "q", buffer, quality, room, state_flag, &err);
        });
    }
    void read(const record_type &type, const std::string &path, const std::string &text, void *instance) {
        const document parsed = parse_xml(text);
        error_text[0] = '\0';
        type.operations->from_xml(handle, test_class, path.c_str(), parsed.get(), instance, &err, error_text,
                                  sizeof error_text);
    }
    void expect_no_instance_refused(ptp_cfg_type_kind kind, const std::string &text) {
        for (const record_type &type : record_types(kind)) {
            read(type, "//q", text, nullptr);
            expect_error(VELA_EINVAL);
        }
    }
    void read_quality(const std::string &text, ptp_clock_quality *quality) {
        read(record_type("ptp_clock_quality"), "//q", text, quality);
    }
    /** Expects what reading changed in a quality. Reading leaves a last error where an element is absent. */
    void expect_quality(const ptp_clock_quality *quality, u_int8 clock_class, int16 variance, u_int32 accuracy) {
        EXPECT_EQ(ptp_clock_quality_compare(quality, make_quality(clock_class, variance, accuracy).get()), 0);
    }

    char error_text[256] = {};
};

}  // namespace ptp_cfg_test
