"""One end of a channel in Python: `receive URI` prints the domain number of the clock that arrives, `send URI NUMBER` sends one."""
import sys

import ptp_cfg

TIMEOUT = 10

role, uri = sys.argv[1:3]
if role == "send":
    with ptp_cfg.Channel.connect(uri) as channel:
        clock = {"default_data_set": {"clk_domain": int(sys.argv[3])}}
        channel.send(ptp_cfg.ptp_clock_cfg_message(ptp_clock=clock))
        channel.finish(TIMEOUT)
else:
    with ptp_cfg.Channel.listen(uri) as channel:
        print(channel.receive(TIMEOUT).ptp_clock.default_data_set.clk_domain)
        channel.finish(TIMEOUT)
