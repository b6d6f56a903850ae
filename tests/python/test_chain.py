"""The same messages in every form: by the independent encoder, the command line and the package, one behind the other."""

import json
import os
import re
import subprocess

import pytest
from conftest import encoder, vectors

import ptp_cfg

PTPCFG = os.environ.get("PTPCFG", "")
needs_tool = pytest.mark.skipif(not PTPCFG, reason="built without ptpcfg")


def tool(data, *arguments):
    """What ptpcfg makes of an input."""
    done = subprocess.run([PTPCFG, *arguments, "-"], input=data, capture_output=True, check=False)
    assert done.returncode == 0 and done.stderr == b"", done.stderr.decode()
    return done.stdout


def cases(name):
    """Title and record of each vector of a message; what stands in the header word is the handle's."""
    for title, record in vectors.cases(name):
        record.header_word = 0
        yield title, record


def encoded(name, record):
    return encoder.joined(encoder.encode(name, record))


@needs_tool
@pytest.mark.parametrize("name", ptp_cfg.messages)
def test_a_message_goes_through_every_format_and_comes_back_as_it_was(name):
    made = ptp_cfg.messages[name]
    record = vectors.fill(name)
    record.header_word = 0
    data = encoded(name, record)
    written = tool(data, "convert", "--from", "bin", "--to", "json")
    yaml = tool(written, "convert", "--to", "yaml")
    xml = tool(yaml, "convert", "--to", "xml")
    by_xml = ptp_cfg.from_xml(xml)
    assert type(by_xml) is made and by_xml.to_bytes() == data
    # And back: each text of the package is read by the tool.
    for text in (by_xml.to_xml(), by_xml.to_json(), by_xml.to_json(indent=2)):
        assert tool(text.encode(), "encode") == data
    assert ptp_cfg.from_json(written) == ptp_cfg.from_yaml(yaml) == by_xml == made(**by_xml.to_dict())
    assert by_xml.to_yaml().encode() == yaml


@needs_tool
@pytest.mark.parametrize("name", ptp_cfg.messages)
def test_state_flags_variants_and_missing_payloads_go_through_json_and_yaml(name):
    made = ptp_cfg.messages[name]
    for is_tracked in (False, True):
        keep = ["--tracked"] if is_tracked else []
        # Extra data are the sender's own, and not kept in texts.
        chosen = {title: encoded(name, record) for title, record in cases(name)
                  if (record.flags is not None) == is_tracked and not record.extra}
        every = b"".join(chosen.values())
        written = tool(every, "convert", "--from", "bin", "--to", "json")
        yaml = tool(written, "convert", *keep, "--to", "yaml")
        assert tool(yaml, "convert", *keep, "--to", "json") == written
        objects = json.loads(written)
        documents = yaml.decode().split("---\n")[-len(chosen):]
        options = {"state_flags": True, "variants": True}
        ours = []
        for (title, data), each, document in zip(chosen.items(), objects if isinstance(objects, list) else [objects],
                                                 documents, strict=True):
            read = made.from_json(json.dumps(each), **options, tracked=is_tracked)
            assert read.to_bytes() == data, title
            assert made.from_yaml(document, **options, tracked=is_tracked).to_bytes() == data, title
            ours.append(read.to_yaml(**options))
        assert tool("---\n".join(ours).encode(), "encode", *keep) == tool(yaml, "encode", *keep) == every


@needs_tool
@pytest.mark.parametrize("name", ptp_cfg.messages)
def test_state_flags_go_through_xml_but_those_of_enumerations_and_whole_arrays(name):
    record = vectors.fill(name, tracked=True)
    record.header_word = 0
    pieces = encoder.encode(name, record)
    enumerations = {piece.path for piece in pieces if piece.item == "variant"} - {
        piece.path for piece in pieces if piece.item == "jump"}
    for path in record.flags:
        if path.endswith("[*]") or path in enumerations:
            record.flags[path] = 0
    data = encoded(name, record)
    xml = tool(data, "convert", "--from", "bin", "--tracked", "--to", "xml")
    assert tool(xml, "encode", "--tracked") == data


# ---- what each byte is ----------------------------------------------------------------------------------------------

HEADER = {"tag": "header/tag", "address": "header/address", "tracked": "header/tracked", "header word": "header/word",
          "length": "header/length", "zeros": "header/reserved", "identity": "identity"}
BEHIND_PATH = {"variant": "/variant", "object flag": "/flag", "extra data": "/extra data", "jump": "/jump",
               "state flag": " state"}
TRUTHS = {"true": "1", "false": "0"}


def expected_items(pieces):
    """Offset, width, path and value of what the encoder wrote; the parts of an address and the flags of an array are
    one item."""
    items = []
    offset = 0
    for piece in pieces:
        place = re.sub(r"\[[^]]*\]$", "", piece.path) if piece.item == "state flag" else piece.path
        path = place + BEHIND_PATH.get(piece.item, "") if place else HEADER[piece.item]
        if items and items[-1][2] == path:
            items[-1] = (*items[-1][:1], items[-1][1] + len(piece.data), path, None)
        else:
            is_number = isinstance(piece.value, int) and piece.path and piece.item in ("value", "jump", "variant",
                                                                                      "state flag")
            items.append((offset, len(piece.data), path, str(piece.value) if is_number else None))
        offset += len(piece.data)
    return items


@pytest.mark.parametrize("name", ptp_cfg.messages)
def test_every_byte_is_explained_as_the_encoder_meant_it(name):
    for title, record in cases(name):
        pieces = encoder.encode(name, record)
        explanation = ptp_cfg.explain(encoder.joined(pieces))
        assert explanation.problem is None, title
        for item, expected in zip(explanation.items, expected_items(pieces), strict=True):
            assert (item.offset, item.width, item.path) == expected[:3], title
            shown = item.value.split(" ")[0].rstrip(",:")
            is_address = "." in shown
            assert expected[3] is None or is_address or TRUTHS.get(shown, shown) == expected[3], (title, item)
