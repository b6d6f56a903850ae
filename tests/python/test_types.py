"""What editors and type checkers see: the stubs agree with the classes, and wrong programs are found."""

import ast
import os
import pathlib
import subprocess
import sys

import pytest
from conftest import RECORDS

import ptp_cfg

STUB = ast.parse((pathlib.Path(ptp_cfg.__file__).parent / "model.pyi").read_text())
CLASSES = {node.name: node for node in STUB.body if isinstance(node, ast.ClassDef)}

GOOD = """
import asyncio
import ptp_cfg
from ipaddress import ip_address

clock = ptp_cfg.ptp_clock(clk_mode=ptp_cfg.ptp_clock_mode.VELA_PTP_CLOCK_MODE_NONE)
clock.clk_mode = "VELA_PTP_CLOCK_MODE_NONE"
clock.default_data_set = {"clk_domain": 24}
clock.default_data_set.clk_id = bytes(8)
number: int = clock.default_data_set.clk_domain + clock.default_data_set.clk_id.ptp_clk_id[0]
message = ptp_cfg.ptp_clock_cfg_message.from_bytes(b"")
message.ptp_clock = clock
again: ptp_cfg.ptp_clock = message.ptp_clock.copy()
port = ptp_cfg.ptp_port()
port.local_addr = ip_address("192.0.2.1")
text: str = port.local_addr + port.port_name
for stream in ptp_cfg.ptp_ipv4_streams_arr().streams:
    stream.addr = 3
handlers = ptp_cfg.Dispatcher()
@handlers.on(ptp_cfg.ptp_clock_cfg_message)
def configure(taken: ptp_cfg.ptp_clock_cfg_message) -> int:
    return taken.ptp_clock.default_data_set.clk_domain
domain: int = configure(message)
async def run() -> None:
    async for each in ptp_cfg.Channel.listen("inproc:a"):
        print(each)
    with ptp_cfg.Recording("a") as recording:
        print([entry.time_ns for entry in recording])
"""

BAD = {
    "clock.clk_domian = 3": "has no attribute",
    "clock.default_data_set.clk_domain = '3'": "Incompatible types in assignment",
    "clock.clk_mode = ptp_cfg.ptp_clock_type.VELA_PTP_CFG_CLK_TYPE_BOUNDARY": "Incompatible types in assignment",
    "clock.modify = 'yes'": "Incompatible types in assignment",
    "port.port_name_size = 3": "ead-only",
    "name: str = clock.clk_mode": "Incompatible types in assignment",
    "clock.default_data_set = ptp_cfg.ptp_port()": "Incompatible types in assignment",
    "ptp_cfg.ptp_clock(clk_domian=3)": "Unexpected keyword argument",
    "ptp_cfg.ptp_clock_mode.NONE": "has no attribute",
    "handlers.on(ptp_cfg.ptp_clock_cfg_message)(lambda taken: taken.ptp_port)": "has no attribute",
    "handlers.on(3)": "has incompatible type",
}


@pytest.mark.parametrize("name", [*RECORDS, *ptp_cfg.enumerations])
def test_the_stub_of_a_type_has_its_fields_and_literals(name):
    inner = CLASSES[name].body
    if name in ptp_cfg.enumerations:
        values = {node.targets[0].id: ast.literal_eval(node.value) for node in inner if isinstance(node, ast.Assign)}
        assert values == {member.name: member.value for member in getattr(ptp_cfg, name)}
        return
    kinds = {"enumeration": "EnumerationField", "structure": "StructureField", "text": "TextField",
             "boolean": "TruthField", "opaque": "AddressField"}
    shown = [(node.target.id, ast.unparse(node.annotation).partition("[")[0]) if isinstance(node, ast.AnnAssign)
             else (node.name, "property") for node in inner
             if isinstance(node, ast.AnnAssign) or getattr(node, "decorator_list", [])]
    for field, stub in zip(RECORDS[name].description["fields"], shown, strict=True):
        expected = ("ArrayField" if field["is_array"] else "property" if field["is_read_only"] else
                    "Ipv4Field" if field["is_address"] else kinds.get(field["kind"], "NumberField"))
        assert stub == (field["attribute"], expected)
        assert getattr(RECORDS[name], field["attribute"]).__doc__ == field["doc"]


def check(text, tmp_path):
    file = tmp_path / "program.py"
    file.write_text(text)
    package = pathlib.Path(ptp_cfg.__file__).parent.parent
    return subprocess.run([sys.executable, "-m", "mypy", "--strict", "--cache-dir", tmp_path / "cache", file],
                          capture_output=True, text=True, check=False, env=os.environ | {"MYPYPATH": str(package)})


def test_a_type_checker_accepts_good_programs_and_finds_the_faults_of_bad_ones(tmp_path):
    pytest.importorskip("mypy")
    good = check(GOOD, tmp_path)
    assert good.returncode == 0, good.stdout
    bad = check(GOOD + "\n".join(BAD), tmp_path)
    first = GOOD.count("\n") + 1
    for line, (statement, complaint) in enumerate(BAD.items(), first):
        found = [each for each in bad.stdout.splitlines() if f"program.py:{line}: error" in each]
        assert found and any(complaint in each for each in found), (statement, bad.stdout)
