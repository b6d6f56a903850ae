"""Records as objects: what fields take, how long views live, copies, threads."""

import copy
import gc
import ipaddress
import sys
import threading

import pytest
from conftest import RECORDS, record_of, vector
from hypothesis import given
from hypothesis import strategies as st

import ptp_cfg


@pytest.mark.parametrize("field, given_value, shown", [
    ("local_addr", ipaddress.ip_address("2001:db8::1"), "2001:db8::1"), ("local_addr", "", ""),
    ("local_mac_addr", "00-1B-19-00-00-01", "00:1b:19:00:00:01"),
    ("local_mac_addr", bytes(range(6)), "00:01:02:03:04:05"),
    ("vrf", "18446744073709551615:1:2:3", "18446744073709551615:1:2:3"),
    ("port_name", "grüße", "grüße"), ("port_name", b"\xff\0A", "\udcff\0A"), ("port_name", "", ""),
    ("port_role", "VELA_PTP_PORT_ROLE_MASTER", None), ("modify", 1, True), ("port_num", 65535, 65535),
])
def test_fields_take_values_as_people_write_them(field, given_value, shown):
    port = ptp_cfg.ptp_port()
    if shown is None:
        given_value = list(ptp_cfg.ptp_port_role)[-1].name
        shown = ptp_cfg.ptp_port_role[given_value]
    setattr(port, field, given_value)
    value = getattr(port, field)
    assert value == shown and type(value) is type(shown)
    assert ptp_cfg.ptp_port.from_bytes(port.to_bytes()) == port


@pytest.mark.parametrize("field, value, kind", [
    ("port_num", 65536, ptp_cfg.FieldError), ("port_num", -1, ptp_cfg.FieldError),
    ("port_num", 10**30, ptp_cfg.FieldError), ("port_num", "1", ptp_cfg.FieldTypeError),
    ("port_num", 1.0, ptp_cfg.FieldTypeError), ("port_num", True, ptp_cfg.FieldTypeError),
    ("port_num", None, ptp_cfg.FieldTypeError), ("modify", 2, ptp_cfg.FieldError),
    ("modify", "true", ptp_cfg.FieldTypeError), ("port_role", "VELA_NONE", ptp_cfg.FieldError),
    ("port_role", 99, ptp_cfg.FieldError), ("port_role", 2**40, ptp_cfg.FieldError),
    ("port_role", ptp_cfg.ptp_clock_type(1), ptp_cfg.FieldTypeError), ("port_role", True, ptp_cfg.FieldTypeError),
    ("local_addr", "1.2.3", ptp_cfg.FieldError), ("local_addr", 3, ptp_cfg.FieldTypeError),
    ("local_mac_addr", "00:1b", ptp_cfg.FieldError), ("local_mac_addr", b"12345", ptp_cfg.FieldError),
    ("vrf", "1:2", ptp_cfg.FieldError), ("port_name", "x" * 256, ptp_cfg.FieldError),
    ("port_name", 3, ptp_cfg.FieldTypeError), ("port_name", "\ud800", ptp_cfg.FieldError),
    ("ucast_neg", 3, ptp_cfg.FieldTypeError), ("ucast_neg", ptp_cfg.ptp_port(), ptp_cfg.FieldTypeError),
    ("ucast_neg", {"max_sync_rate": 128}, ptp_cfg.FieldError),
])
def test_a_refused_value_changes_nothing_and_the_error_names_the_field(field, value, kind):
    _, data = vector("ptp_port")
    port = ptp_cfg.ptp_port.from_bytes(data)
    with pytest.raises(kind) as raised:
        setattr(port, field, value)
    assert raised.value.path.startswith(f"ptp_port/{field}") and raised.value.code != 0
    assert port.to_bytes() == data


def test_names_that_do_not_exist_are_refused_with_a_suggestion(clock):
    with pytest.raises(AttributeError):
        clock.clk_domian = 1
    with pytest.raises(ptp_cfg.FieldError, match="did you mean clk_domain"):
        ptp_cfg.ptp_clock(default_data_set={"clk_domian": 1})
    with pytest.raises(ptp_cfg.FieldError, match="did you mean VELA_PTP_CFG_CLK_TYPE_BOUNDARY"):
        clock.clk_type = "VELA_PTP_CFG_CLK_TYPE_BOUNDRY"
    with pytest.raises(AttributeError):
        ptp_cfg.ptp_port().port_name_size = 3
    with pytest.raises(TypeError):
        ptp_cfg.ptp_clock(clock)
    with pytest.raises(TypeError):
        ptp_cfg.Record()


def test_several_fields_are_set_together_or_not_at_all(clock):
    before = clock.to_bytes()
    for change in ({"clk_mode": 1, "clk_type": 99}, {"default_data_set": {"clk_domain": 1, "priority1": 256}},
                   {"clk_mode": 1, "nonsense": 1}):
        with pytest.raises(ptp_cfg.FieldError):
            clock.update(**change)
        assert clock.to_bytes() == before
    view = clock.default_data_set
    clock.update(clk_mode=1, default_data_set={"clk_domain": 25})
    assert (clock.clk_mode, view.clk_domain, str(view.clk_id)) == (1, 25, "AA-BB-CC-FF-FE-00-03-30")


def test_arrays_are_sequences(clock):
    octets = clock.default_data_set.clk_id.ptp_clk_id
    assert len(octets) == 8 and octets[0] == 0xAA and octets[-1] == 0x30 and 0xCC in octets
    assert octets[2:4] == [0xCC, 0xFF] and octets == bytes.fromhex("aabbccfffe000330") and octets != [1]
    assert bytes(octets) == memoryview(octets).tobytes() and octets.index(0xBB) == 1 and octets.count(0) == 1
    octets[-1] = 7
    octets[0:2] = [1, 2]
    assert str(clock.default_data_set.clk_id) == "01-02-CC-FF-FE-00-03-07"
    with pytest.raises(TypeError):
        memoryview(octets)[0] = 3
    for index, value in ((8, 1), (-9, 1), (0, 256), (slice(0, 2), [1]), (0, None)):
        with pytest.raises((IndexError, ptp_cfg.Error)):
            octets[index] = value
    with pytest.raises(ptp_cfg.FieldError, match="has 8 elements, 3 were given"):
        clock.default_data_set.clk_id.ptp_clk_id = [1, 2, 3]
    clock.default_data_set.clk_id = bytes(8)
    assert clock.default_data_set.clk_id == "00-00-00-00-00-00-00-00"
    streams = ptp_cfg.ptp_ipv4_streams_arr()
    streams.streams[127].addr = "192.0.2.1"
    streams.streams[126] = {"addr": 0xC0000202}
    assert [entry.addr for entry in streams.streams][-2:] == ["192.0.2.2", "192.0.2.1"]
    assert streams.diff(ptp_cfg.ptp_ipv4_streams_arr())[0].path == "ptp_ipv4_streams_arr/streams[126]/addr"


def test_diff_names_each_field_that_differs(clock):
    other = clock.copy()
    other.default_data_set.clk_domain = 44
    other.default_data_set.clk_id = bytes(8)
    other.clk_mode = 1
    assert [(each.path, each.left, each.right) for each in clock.diff(other)] == [
        ("ptp_clock/default_data_set/clk_id", "AA-BB-CC-FF-FE-00-03-30", "00-00-00-00-00-00-00-00"),
        ("ptp_clock/default_data_set/clk_domain", 24, 44),
        ("ptp_clock/clk_mode", ptp_cfg.ptp_clock_mode(0), ptp_cfg.ptp_clock_mode(1))]
    with pytest.raises(TypeError):
        clock.diff(ptp_cfg.ptp_port())


def test_records_of_different_content_or_type_differ(clock):
    other = clock.copy()
    other.clk_mode = 1
    assert clock != other and (clock < other) != (clock > other)
    assert clock != ptp_cfg.ptp_port() and clock != 3
    with pytest.raises(TypeError):
        clock < ptp_cfg.ptp_port()
    assert len({clock, clock.copy(), other}) == 2


def test_a_view_lives_as_long_as_somebody_has_it():
    _, data = vector("ptp_port_data_set_info_message")
    message = ptp_cfg.decode(data)
    expected = message.to_dict()["ptp_port_data_set"]
    payload = message.ptp_port_data_set
    identity = payload.port_identity.clock_identity.ptp_clk_id
    lent = memoryview(identity)
    text = bytes(lent)
    del message
    gc.collect()
    # What was freed would be given out again.
    others = [ptp_cfg.ptp_port_data_set_info_message() for _ in range(100)]
    assert payload.to_dict() == expected
    del payload
    gc.collect()
    assert bytes(identity) == text
    del identity
    gc.collect()
    assert bytes(lent) == text and len(others) == 100


def test_copies_are_independent(clock):
    for other in (clock.copy(), copy.copy(clock), copy.deepcopy(clock), clock.default_data_set.copy()):
        changed = other if isinstance(other, ptp_cfg.ptp_clock_default_ds) else other.default_data_set
        changed.clk_domain = 99
        assert clock.default_data_set.clk_domain == 24
    message = ptp_cfg.ptp_clock_cfg_message(ptp_clock=clock)
    message.ptp_clock.clk_mode = 2
    assert clock.clk_mode == 0
    view = message.ptp_clock
    message.ptp_clock = clock
    assert view.clk_mode == 0 and view == clock
    clock.default_data_set = clock.default_data_set
    assert clock.default_data_set.clk_domain == 24


def test_texts_are_freed_and_replaced_with_their_records():
    port = ptp_cfg.ptp_port(port_name="first")
    message = ptp_cfg.ptp_port_cfg_message(ptp_port=port)
    port.port_name = "second"
    message.ptp_port = port
    port.port_name = ""
    assert message.ptp_port.port_name == "second" and message.ptp_port.port_name_size == 6


def resident():
    with open("/proc/self/statm") as file:
        return int(file.read().split()[1]) * 4096


def test_nothing_is_left_behind(clock):
    _, data = vector("ptp_port_cfg_message")

    def everything():
        message = ptp_cfg.decode(data)
        message.ptp_port.port_name = "a"
        message.ptp_port.ucast_neg = {"max_sync_rate": 3}
        message.copy().to_json(), message.to_xml(), message.to_text(), repr(message)
        clock.update(default_data_set={"clk_id": bytes(8)})
        for wrong in (data[:50], b""):
            with pytest.raises(ptp_cfg.DecodeError):
                ptp_cfg.decode(wrong)

    for _ in range(200):
        everything()
    gc.collect()
    before, references = resident(), sys.getrefcount(ptp_cfg.ptp_port)
    for _ in range(8000):  # of a dozen operations each
        everything()
    gc.collect()
    assert resident() - before < 1 << 20
    assert abs(sys.getrefcount(ptp_cfg.ptp_port) - references) < 10


def test_threads_may_use_records_side_by_side():
    failures = []

    def work(seed):
        try:
            made = list(RECORDS.values())[seed::8]
            for _ in range(30):
                for each in made:
                    record = each()
                    assert each.from_json(record.to_json()) == each.from_bytes(record.to_bytes())
        except BaseException as error:
            failures.append(error)

    switching = sys.getswitchinterval()
    sys.setswitchinterval(1e-5)
    threads = [threading.Thread(target=work, args=(seed,)) for seed in range(8)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    sys.setswitchinterval(switching)
    assert not failures


@given(st.data())
def test_a_change_of_any_field_shows_in_diff_and_comparison(data):
    record = data.draw(record_of(ptp_cfg.ptp_port))
    other = data.draw(record_of(ptp_cfg.ptp_port))
    differences = record.diff(other)
    assert (differences == []) == (record == other)
    for name, value in other.items():
        setattr(record, name, value)
    assert record == other and record.diff(other) == []
