#!/usr/bin/env python3
"""Writes what the benchmarks need of their records: generate.py SCHEMA OUT SCENARIO=STRUCTURE..."""

import pathlib
import sys

import library
import model
import peers


def main(folder, out, *rows):
    schema = model.Schema(folder)
    records = {scenario: schema.structure(name) for scenario, name in (row.split("=") for row in rows)}
    structures = list(records.values())
    texts = {
        "bench_records.h": library.records_header(records),
        "bench_examples.cpp": library.examples_source(records),
        "bench.proto": peers.protobuf_schema(structures),
        "bench.fbs": peers.flatbuffers_schema(structures),
        "bench.capnp": peers.capnproto_schema(structures),
        "protobuf_codecs.h": peers.codecs(peers.PROTOBUF, structures),
        "flatbuffers_codecs.h": peers.codecs(peers.FLATBUFFERS, structures),
        "capnproto_codecs.h": peers.codecs(peers.CAPNPROTO, structures),
    }
    for name, text in texts.items():
        pathlib.Path(out, name).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
