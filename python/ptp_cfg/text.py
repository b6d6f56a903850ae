"""Messages of whatever type from JSON, YAML and XML."""

import re
from typing import Any

from . import _native, model
from .errors import JsonError, XmlError, YamlError

_FIRST_ELEMENT = re.compile(r"\s*(?:<\?.*?\?>|<!--.*?-->|\s+)*<(?:ptp_cfg\b[^>]*>\s*(?:<!--.*?-->|\s+)*<)?([\w.-]+)", re.S)


def from_json(text: "str | _native.Buffer", **options: Any) -> Any:
    """The message that a text of JSON holds, by the name of its one member; options are those of the messages."""
    made = _native.identify_json(text)
    if made is None:
        raise JsonError("this names no message; begin with {\"ptp_clock_cfg\": or the like", code=22, name="VELA_EINVAL")
    return made.from_json(text, **options)


def from_yaml(text: "str | _native.Buffer", **options: Any) -> Any:
    """The message that a document of YAML holds, by the name of its one member; options are those of from_json()."""
    json = _native.json_of_yaml(text)
    made = _native.identify_json(json)
    if made is None:
        raise YamlError("this names no message; begin with ptp_clock_cfg: or the like", code=22, name="VELA_EINVAL")
    return made._from_json_of_yaml(json, text, **options)


def from_xml(text: "str | _native.Buffer", **options: Any) -> Any:
    """The message that an XML document holds, by the name of its first element; options are those of the messages."""
    characters = text if isinstance(text, str) else bytes(text).decode("utf-8", "replace")
    found = _FIRST_ELEMENT.match(characters)
    made = model.messages.get(found[1] + "_message") if found else None
    if made is None:
        raise XmlError("this names no message; begin with <ptp_clock_cfg> or the like", code=22, name="VELA_EINVAL")
    return made.from_xml(text, **options)
