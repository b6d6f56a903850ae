// The example clock.
#include "records/clock.h"

namespace bench {

const clock_values example_clock = {
    .modify = 1,
    .version = VELA_PTP_VERSION_2,
    .profile = VELA_PTP_PHASE_PROFILE_G8275_1,
    .default_ds =
        {
            .clock_id = {0xaa, 0xbb, 0xcc, 0xff, 0xfe, 0x00, 0x01, 0x10},
            .quality = {.clock_class = 165, .offset_scaled_log_var = 20061, .accuracy = 4},
            .number_ports = 12,
            .priority1 = 128,
            .priority2 = 127,
            .domain = 24,
            .two_step = 1,
            .slave_only = 1,
            .local_priority = 126,
        },
    .time_properties =
        {
            .utc_offset = 37,
            .utc_offset_valid = 1,
            .leap59 = 1,
            .leap61 = 1,
            .time_traceable = 1,
            .frequency_traceable = 1,
            .ptp_timescale = 1,
            .time_source = VELA_PTP_TIME_SOURCE_GPS,
            .v_port_index = 3,
        },
    .revertive = 1,
    .handle = 0x0102030405060708,
    .type = VELA_PTP_CFG_CLK_TYPE_BOUNDARY,
    .mode = VELA_PTP_CLOCK_MODE_BC_HYBRID,
    .warm_restart = 1,
    .network_type = VELA_PTP_HI_JITTER_NETWORK_TYPE,
    .tracking_type = VELA_PTP_FREQUENCY_TRACKING_TYPE,
};

}  // namespace bench
