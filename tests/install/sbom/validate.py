#!/usr/bin/env python3
"""Holds bills of materials against CycloneDX's own schema, and their references against what they list.

    validate.py FILE...

The schema lies beside this script as its makers publish it (Apache License 2.0, Copyright OWASP Foundation).
"""
import json
import lzma
import pathlib
import sys

import jsonschema


def schema(name):
    with lzma.open(pathlib.Path(__file__).parent / f"{name}.SNAPSHOT.schema.json.xz", "rt", encoding="utf-8") as file:
        return json.load(file)


def validator():
    bill = schema("bom-1.5")
    beside = {f"http://cyclonedx.org/schema/{name}.SNAPSHOT.schema.json": schema(name) for name in ("spdx", "jsf-0.82")}
    resolver = jsonschema.RefResolver.from_schema(bill, store=beside)
    return jsonschema.Draft7Validator(bill, resolver=resolver, format_checker=jsonschema.FormatChecker())


def faults(path, check):
    bill = json.loads(pathlib.Path(path).read_text(encoding="utf-8"))
    for error in check.iter_errors(bill):
        yield f"{'/'.join(map(str, error.absolute_path))}: {error.message[:200]}"
    listed = [component["bom-ref"] for component in [bill["metadata"]["component"], *bill["components"]]]
    if len(listed) != len(set(listed)):
        yield "components: two have the same bom-ref"
    for dependency in bill["dependencies"]:
        for reference in [dependency["ref"], *dependency["dependsOn"]]:
            if reference not in listed:
                yield f"dependencies: nothing is called {reference}"


def main(paths):
    check = validator()
    found = [f"{path}: {fault}" for path in paths for fault in faults(path, check)]
    print("\n".join(found) or f"{len(paths)} right")
    return 1 if found else 0


sys.exit(main(sys.argv[1:]))
