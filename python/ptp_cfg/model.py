"""The types of the library, made from what it knows of them: an IntEnum for each enumeration, a class for each
structure and message. `model.pyi` has them for editors and type checkers.
"""

import enum as _enum

from . import _native
from .records import Record as _Record


class _Literals(_enum.IntEnum):
    """What all enumerations derive from: they show themselves as Python that makes them anew."""

    def __repr__(self):
        return f"{type(self).__name__}.{self.name}"


def _enumeration(row):
    """An IntEnum; names and numbers are the literals' own."""
    made = _Literals(row["name"], [literal[:2] for literal in row["literals"]], module="ptp_cfg")
    made.__doc__ = row["doc"]
    for name, _, doc, _ in row["literals"]:
        made[name].__doc__ = doc
    _native.bind_enumeration(row["name"], {int(member): member for member in made})
    return made


def _record(row):
    for field in row["fields"]:
        field["attribute"] = field["name"] + "_" * hasattr(_Record, field["name"])
    contents = {"__slots__": (), "__doc__": row["doc"], "__module__": "ptp_cfg", "description": row}
    return _native.make_record_class(row["name"], _Record, contents)


enumerations = {}
structures = {}
messages = {}
for _row in _native.describe_types():
    if _row["kind"] == "enumeration":
        enumerations[_row["name"]] = _enumeration(_row)
    else:
        (structures if _row["kind"] == "structure" else messages)[_row["name"]] = _record(_row)

globals().update(enumerations | structures | messages)
__all__ = ["enumerations", "structures", "messages", *enumerations, *structures, *messages]
