"""Records through bytes, JSON, XML and text: nothing is lost, and what comes out is what others read and write."""

import copy
import ipaddress
import pickle
import random

import pytest
from conftest import RECORDS, encoder, record_of, tables, vector
from hypothesis import given

import ptp_cfg


def at(record, path):
    """What the encoder's path leads to."""
    for step in path.split("/") if "/" in path else path.split("."):
        name, _, index = step.rstrip("]").partition("[")
        record = getattr(record, name)
        record = record[int(index)] if index else record
    return record


def as_python(value):
    """A value of the encoder in the form that the package shows."""
    if isinstance(value, encoder.Vrf):
        return ":".join(map(str, value))
    return value.decode("utf-8", "surrogateescape") if isinstance(value, bytes) else value


@pytest.mark.parametrize("name", RECORDS)
def test_reads_the_independent_encoders_bytes_field_by_field_and_writes_them_again(name):
    expected, data = vector(name)
    record = RECORDS[name].from_bytes(data)
    if name in ptp_cfg.messages:
        data = data[:8] + bytes(4) + data[12:]  # the header's word is the handle's
    assert record.to_bytes() == data
    for path, value in expected.values.items():
        read = at(record, path)
        if isinstance(value, encoder.Ip):
            assert read == str(ipaddress.ip_address(value.address[:4 if value.family == 4 else 16])) + (
                f"%{value.scope}" if value.scope else "")
        elif isinstance(value, encoder.Octets):
            assert read.replace(":", "") == value.hex()
        elif isinstance(read, str) and isinstance(value, int):
            assert read == ".".join(map(str, value.to_bytes(4)))
        else:
            assert read == as_python(value), path


@pytest.mark.parametrize("name", ptp_cfg.messages)
def test_a_message_passes_through_all_formats_unchanged(name):
    _, data = vector(name)
    made = ptp_cfg.messages[name]
    start = made.from_bytes(data)
    by_json = ptp_cfg.from_json(start.to_json(indent=2))
    by_xml = ptp_cfg.from_xml(by_json.to_xml())
    by_values = made(**by_xml.to_dict())
    by_code = eval(repr(by_values), vars(ptp_cfg).copy())
    assert by_code.to_bytes() == start.to_bytes()
    assert by_code == start and hash(by_code) == hash(start)


@pytest.mark.parametrize("name", ptp_cfg.structures)
def test_any_record_survives_every_round_trip(name):
    made = RECORDS[name]
    given(record_of(made))(lambda record: survives(made, record))()


def survives(made, record):
    others = [made.from_bytes(record.to_bytes()), made.from_json(record.to_json()), made.from_xml(record.to_xml()),
              made.from_yaml(record.to_yaml()),
              made(**record.to_dict()), copy.copy(record), copy.deepcopy(record),
              pickle.loads(pickle.dumps(record))]
    for other in others:
        assert other == record and not other < record and not other > record
        assert hash(other) == hash(record)
        assert other.to_bytes() == record.to_bytes()
        assert record.diff(other) == []


@pytest.mark.parametrize("name", RECORDS)
def test_damaged_bytes_give_a_record_or_a_decode_error(name):
    made = RECORDS[name]
    chance = random.Random(name)
    _, data = vector(name)
    lengths = range(len(data)) if len(data) < 300 else chance.sample(range(len(data)), 100)
    cases = [data[:length] for length in lengths] + [data + b"\0"]
    for _ in range(200):
        damaged = bytearray(data)
        for _ in range(chance.randint(1, 4)):
            damaged[chance.randrange(min(len(damaged), 400))] = chance.choice((0, 1, 127, 128, 255, chance.randrange(256)))
        cases.append(bytes(damaged))
    for case in cases:
        try:
            record = made.from_bytes(case)
        except ptp_cfg.DecodeError as error:
            assert error.code and error.reason
        else:
            record.to_bytes(), record.to_json(), record.to_text(), repr(record), hash(record)
    for cut in cases[:-201]:
        with pytest.raises(ptp_cfg.DecodeError):
            made.from_bytes(cut)


def test_errors_of_bytes_name_field_and_offset(clock):
    data = clock.to_bytes()
    with pytest.raises(ptp_cfg.DecodeError) as raised:
        ptp_cfg.ptp_clock.from_bytes(data[:40])
    assert raised.value.path.startswith("ptp_clock/default_data_set") and 0 < raised.value.offset <= 40
    message = ptp_cfg.ptp_clock_cfg_message(ptp_clock=clock).to_bytes()
    with pytest.raises(ptp_cfg.DecodeError, match="this is a ptp_clock_cfg, not a ptp_port_cfg"):
        ptp_cfg.ptp_port_cfg_message.from_bytes(message)
    for nothing in (b"", b"\xbc", bytes(60), message[:27] + bytes(16) + message[43:]):
        with pytest.raises(ptp_cfg.DecodeError):
            ptp_cfg.decode(nothing)
    with pytest.raises(TypeError):
        ptp_cfg.decode("text")


@pytest.mark.parametrize("text, line, path", [
    ('{"ptp_clock_cfg":\n {"ptp_clock": {"clk_domian": 1}}}', 2, "ptp_clock_cfg/ptp_clock/clk_domian"),
    ('{"ptp_clock_cfg": {"ptp_clock": {"clk_mode": 1, "clk_mode": 1}}}', 1, "ptp_clock_cfg/ptp_clock/clk_mode"),
    ('{"ptp_clock_cfg": {"ptp_clock": {"modify": ', 1, "ptp_clock_cfg/ptp_clock/modify"),
    ('{"ptp_clock_cfg": ' + "[" * 100000, 1, "ptp_clock_cfg"),
])
def test_errors_of_json_name_line_and_field(text, line, path):
    with pytest.raises(ptp_cfg.JsonError) as raised:
        ptp_cfg.from_json(text)
    assert (raised.value.line, raised.value.path) == (line, path)
    assert pickle.loads(pickle.dumps(raised.value)).line == line


@pytest.mark.parametrize("text", ["", "{}", "[]", "nonsense", '{"no_such_message": {}}', b"\xff\xfe\0{", "\ud800"])
def test_what_is_no_message_in_json_is_refused(text):
    with pytest.raises((ptp_cfg.JsonError, UnicodeEncodeError)):
        ptp_cfg.from_json(text)


@pytest.mark.parametrize("text, place, path, reason", [
    ("", (1, 1), "", "holds no record"), ("# a\n", (1, 1), "", "holds no record"),
    ("- 1\n- 2\n", (1, 1), "", "holds more than one record"),
    ("ptp_clock_cfg: 1\n---\nptp_clock_cfg: 1\n", (4, 1), "", "more than one document"),
    ("a: 1\n", (None, None), "", "this names no message"),
    ("ptp_clock_cfg:\n  ptp_clock:\n    clk_domian: 1\n", (3, 5), "ptp_clock_cfg/ptp_clock/clk_domian", "unknown member"),
    ("ptp_clock_cfg:\n  ptp_clock: {modify: yes}\n", (2, 23), "ptp_clock_cfg/ptp_clock/modify", "true or false is wanted"),
    ("ptp_clock_cfg: \"a\n", (2, 1), "", "a text in quotes does not end"),
    ("a: &a 1\nb: *a\n", (2, 4), "", "aliases are not read"),
    ("[" * 100 + "]" * 100, (1, 65), "", "nested more than 64 deep"), (b"\xff", (1, 1), "", "no UTF-8"),
])
def test_errors_of_yaml_name_line_and_field(text, place, path, reason):
    with pytest.raises(ptp_cfg.YamlError, match=reason) as raised:
        ptp_cfg.from_yaml(text)
    assert (raised.value.line, raised.value.column, raised.value.path) == (*place, path)
    with pytest.raises((TypeError, UnicodeEncodeError)):
        ptp_cfg.from_yaml(3 if text else "\ud800")


@pytest.mark.parametrize("text", [
    "", "<", "<ptp_clock_cfg>", "<ptp_clock_cfg/>", "<no_such_message/>", b"\xff\xfe<",
    "<ptp_clock_cfg><ptp_clock><clk_moed/></ptp_clock></ptp_clock_cfg>",
    "<!DOCTYPE a [<!ENTITY b 'c'>]><ptp_clock_cfg><ptp_clock/></ptp_clock_cfg>", "<a>" * 100000])
def test_what_is_no_message_in_xml_is_refused(text):
    with pytest.raises(ptp_cfg.XmlError):
        ptp_cfg.from_xml(text)


def test_xml_of_a_recorder_is_read_and_rules_can_be_loosened(clock):
    message = ptp_cfg.ptp_clock_cfg_message(ptp_clock=clock)
    assert ptp_cfg.from_xml(f"<?xml version='1.0'?>\n<!-- a -->\n<ptp_cfg>{message.to_xml()}</ptp_cfg>") == message
    newer = message.to_xml().replace("<modify>", "<newer>1</newer><modify>")
    with pytest.raises(ptp_cfg.XmlError, match="newer"):
        ptp_cfg.from_xml(newer)
    assert ptp_cfg.from_xml(newer, strict=False) == message
    assert ptp_cfg.from_json(message.to_json().replace('"modify"', '"newer":1,"modify"'), skip_unknown=True) == message
    with pytest.raises(ptp_cfg.JsonError):
        ptp_cfg.ptp_clock.from_json("{}", all_fields=True)


def test_values_without_a_literal_stay(clock):
    data = bytearray(clock.to_bytes())
    offset = next(item.offset for item in ptp_cfg.explain(bytes(data), ptp_cfg.ptp_clock).items
                  if item.path == "ptp_clock/clk_mode")
    data[offset:offset + 4] = (77).to_bytes(4)
    unknown = ptp_cfg.ptp_clock.from_bytes(data)
    assert unknown.clk_mode == 77
    for other in (ptp_cfg.ptp_clock.from_xml(unknown.to_xml()), ptp_cfg.ptp_clock.from_json(unknown.to_json()),
                  unknown.copy()):
        assert other == unknown
    assert "clk_mode@ptp_clock_mode:Enum value out of range: 77\n" in unknown.to_text()


@pytest.mark.parametrize("name", ["ptp_clock", "ptp_port", "ptp_port_cfg_message", "ptp_stream_runtime_state_arr"])
def test_state_flags_travel_with_tracked_records(name):
    _, data = vector(name, tracked=True)
    record = RECORDS[name].from_bytes(data)
    assert record.tracked
    expected = data[:8] + bytes(4) + data[12:] if name in ptp_cfg.messages else data
    assert record.to_bytes() == expected
    by_json = RECORDS[name].from_json(record.to_json(state_flags=True), state_flags=True, tracked=True)
    assert by_json.to_bytes() == expected
    assert record.copy().to_bytes() == expected


def test_a_setter_of_a_tracked_record_sets_its_flag(clock):
    tracked = ptp_cfg.ptp_clock.create(tracked=True)
    assert tracked.state_flag("clk_mode") == 0
    tracked.clk_mode = 1
    assert tracked.state_flag("clk_mode") != 0
    tracked.default_data_set = clock.default_data_set
    assert tracked.default_data_set.clk_domain == 24
    tracked.default_data_set.clk_id.set_state_flag("ptp_clk_id", 3, 2)
    assert tracked.default_data_set.clk_id.state_flag("ptp_clk_id", 2) == 3
    with pytest.raises(ptp_cfg.FieldError):
        clock.set_state_flag("clk_mode", 1)


def test_older_variants_of_a_domain(tmp_path):
    file = tmp_path / "old.toml"
    file.write_text('name = "old"\nforbidden_messages = ["ptp_tod_src_msg_message"]\n[variants]\nptp_utc_offset = 0\n')
    domain = ptp_cfg.Domain.load(file)
    old = ptp_cfg.ptp_utc_offset.create(domain=domain)
    old.utc_offset = 37
    assert old.has("utc_offset") and not old.has("leap_second_day")
    with pytest.raises(ptp_cfg.FieldError) as raised:
        old.leap_second_day = 1
    assert raised.value.name == "VELA_EEPOCH"
    assert old.to_dict() == {"utc_offset": 37}
    assert len(old.to_bytes()) < len(ptp_cfg.ptp_utc_offset().to_bytes())
    assert old.copy() == old and not old.copy().has("leap_second_day")
    assert ptp_cfg.ptp_utc_offset.from_bytes(old.to_bytes()) == old
    with pytest.raises(ptp_cfg.EncodeError) as raised:
        ptp_cfg.ptp_tod_src_msg_message().to_bytes(domain=domain)
    assert raised.value.name == "VELA_EDOMAIN"
    file.write_text("name = 3\n")
    with pytest.raises(ptp_cfg.DomainError, match=":1: "):
        ptp_cfg.Domain.load(file)


def test_bundles_carry_messages_and_go_on_behind_bad_ones(clock):
    messages = [ptp_cfg.ptp_clock_cfg_message(ptp_clock=clock), ptp_cfg.ptp_port_delete_cmd_message()]
    data = ptp_cfg.bundle(messages)
    assert ptp_cfg.split(data) == messages
    assert ptp_cfg.split(messages[0].to_bytes()) == messages[:1]
    damaged = bytearray(data)
    damaged[20 + 30] ^= 0xFF  # the identity of the first
    faults = []
    assert ptp_cfg.split(damaged, faults.append) == messages[1:]
    assert len(faults) == 1
    with pytest.raises(ptp_cfg.DecodeError):
        ptp_cfg.split(damaged)
    for nothing in ([], [clock], [messages[0], ptp_cfg.ptp_clock_cfg_message.create(tracked=True)], [1]):
        with pytest.raises((TypeError, ValueError)):
            ptp_cfg.bundle(nothing)


def test_explain_places_every_byte():
    for name in ptp_cfg.messages:
        _, data = vector(name)
        explanation = ptp_cfg.explain(data)
        assert explanation.problem is None
        assert sum(item.width for item in explanation.items) == len(data)
        assert [item.offset for item in explanation.items[1:]] == [
            item.offset + item.width for item in explanation.items[:-1]]


def test_the_package_knows_every_type_of_the_model():
    assert set(tables.STRUCTURES) == set(ptp_cfg.structures)
    assert set(tables.ENUMERATIONS) == set(ptp_cfg.enumerations)
    assert set(tables.MESSAGES) == set(ptp_cfg.messages)
