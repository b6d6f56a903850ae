"""A daemon: takes the configuration of a clock, and answers with its data set."""

import contextlib
import select
import sys

import ptp_cfg


def handle(message):
    if not isinstance(message, ptp_cfg.ptp_clock_cfg_message):
        print(f"not taken: {type(message).__name__}", flush=True)
        return
    data_set = message.ptp_clock.default_data_set
    print(f"clock: domain {data_set.clk_domain}, priority2 {data_set.priority2}", flush=True)
    channel.reply(ptp_cfg.ptp_clk_default_ds_msg_message(ptp_clock_default_ds=data_set))


def tell(fault):
    print("not taken:", fault, flush=True)


with ptp_cfg.Channel.listen(sys.argv[1], on_fault=tell) as channel:
    print("listening at", channel.uri, flush=True)
    with contextlib.suppress(KeyboardInterrupt):
        while True:
            select.select([channel], [], [])  # until there is something to do
            channel.process(handle)
