"""A control plane: configures a clock, and waits for the daemon's answer."""

import sys

import ptp_cfg

clock = ptp_cfg.ptp_clock(
    clk_profile="VELA_PTP_PHASE_PROFILE_G8275_1",
    clk_type="VELA_PTP_CFG_CLK_TYPE_BOUNDARY",
    default_data_set={"clk_domain": 24, "priority2": int(sys.argv[2])},
)
with ptp_cfg.Channel.connect(sys.argv[1]) as channel:
    channel.send(ptp_cfg.ptp_clock_cfg_message(ptp_clock=clock))
    data_set = channel.receive(timeout=5).ptp_clock_default_ds
    print(f"the daemon has domain {data_set.clk_domain}, priority2 {data_set.priority2}")
