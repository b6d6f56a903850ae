"""What the tests of the package share: every type, records of random values, the vectors of the independent encoder."""

import os
import pathlib
import sys

import pytest
from hypothesis import settings
from hypothesis import strategies as st

import ptp_cfg

sys.path.insert(0, os.environ["PTP_CFG_ORACLE"])
import additions  # noqa: E402
import encoder  # noqa: E402
import tables  # noqa: E402
import vectors  # noqa: E402

additions.add(os.environ["PTP_CFG_SCHEMA"])

settings.register_profile("ctest", max_examples=15, deadline=None, derandomize=True)
settings.load_profile("ctest")

RECORDS = {**ptp_cfg.structures, **ptp_cfg.messages}


def value_of(field):
    """A strategy for what one element of a field is given."""
    kind = field["kind"]
    bits = 8 * field["element_size"]
    if kind == "enumeration":
        return st.sampled_from(list(getattr(ptp_cfg, field["type"])))
    if kind == "structure":
        return record_of(getattr(ptp_cfg, field["type"]))
    if kind == "text":
        return st.binary(max_size=255)
    if kind == "boolean":
        return st.booleans()
    if kind == "signed":
        return st.integers(-(1 << bits - 1), (1 << bits - 1) - 1)
    if kind == "unsigned":
        return st.integers(0, (1 << bits) - 1)
    octets = field["element_size"]
    return {
        "ip_address": st.one_of(st.ip_addresses(), st.just(""), st.just("fe80::1%3")),
        "vrf_info": st.tuples(*[st.integers(0, 2**32 - 1)] * 4).map(lambda four: ":".join(map(str, four))),
    }.get(field["type"], st.binary(min_size=octets, max_size=octets))


def _element_lists(field):
    """An array: a long one of structures holds a few different ones."""
    count = field["capacity"]
    few = min(count, 3)
    return st.lists(value_of(field), min_size=few, max_size=few).map(lambda some: (some * count)[:count])


def record_of(made):
    """A strategy for records of a class, every field of which is set."""
    fields = [field for field in made.description["fields"] if not field["is_read_only"]]
    return st.builds(made, **{
        field["attribute"]: _element_lists(field) if field["is_array"] else value_of(field) for field in fields})


def vector(name, **options):
    """Every leaf distinct: the encoder's own record of a type, and its bytes."""
    record = vectors.fill(name, **options)
    return record, b"".join(piece.data for piece in encoder.encode(name, record))


@pytest.fixture
def clock():
    return ptp_cfg.ptp_clock(clk_type="VELA_PTP_CFG_CLK_TYPE_BOUNDARY",
                             default_data_set={"clk_domain": 24, "clk_id": "AA-BB-CC-FF-FE-00-03-30"})


@pytest.fixture
def uri(tmp_path):
    return f"unix:{tmp_path}/socket"
