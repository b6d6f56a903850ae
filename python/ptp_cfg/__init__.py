"""The data model that a network element's PTP daemon and its control plane share.

    import ptp_cfg

    clock = ptp_cfg.ptp_clock(clk_type="VELA_PTP_CFG_CLK_TYPE_BOUNDARY", default_data_set={"clk_domain": 24})
    data = ptp_cfg.ptp_clock_cfg_message(ptp_clock=clock).to_bytes()
    message = ptp_cfg.decode(data)
    print(message.ptp_clock.default_data_set.clk_domain)

Each type of the schema is a class of its own name here; docs/python.md says the rest.
"""

from . import errors, model
from ._native import Domain
from .channel import Channel, Event
from .dispatch import Dispatcher
from .errors import *
from .model import *
from .recording import Entry, Recorder, Recording
from .records import Difference, Record
from .text import from_json, from_xml, from_yaml
from .wire import Explanation, Item, bundle, decode, explain, split

__all__ = ["Channel", "Difference", "Dispatcher", "Domain", "Entry", "Event", "Explanation", "Item", "Record",
           "Recorder", "Recording", "bundle", "decode", "explain", "from_json", "from_xml",
           "from_yaml", "split"]
__all__ += errors.__all__
__all__ += model.__all__
