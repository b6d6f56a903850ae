#!/usr/bin/env python3
"""Writes a test of every C++ class: each field set by its own function and read by reflection, which knows no offsets.

    every_type.py SCHEMA_FOLDER OUTPUT

Names follow the rule of docs/cpp.md, written here a second time; a type, field or literal of the schema that has no
class, function or enumerator does not compile.
"""
import pathlib
import re
import sys
import tomllib

NUMBERS = ("u_int8", "u_int16", "u_int32", "u_int64", "int8", "int16", "int32")


def cpp_name(name):
    with_ptp = re.sub("^vela_", "", name, flags=re.IGNORECASE)
    alone = re.sub("^ptp_", "", with_ptp, flags=re.IGNORECASE)
    return with_ptp if alone[0].isdigit() else alone


class Writer:
    def __init__(self, subjects):
        rows = lambda key: [row for subject in subjects for row in subject.get(key, [])]
        self.enumerations = {row["name"]: row for row in rows("enumeration")}
        self.structures = {row["name"]: row for row in rows("structure")}
        self.messages = {row["name"]: row for row in rows("message")}

    def field(self, owner, index, field):
        """Lines that set a field by its function and compare what it and reflection read."""
        name, kind = field["name"], field["type"]
        read = name + ("_" if name == owner else "") + "()"
        value = f"present(record.{read})"
        if "length_of" in field:
            return []
        if kind in self.structures:
            if "capacity" in field:
                last = field["capacity"] - 1
                return [f"EXPECT_EQ(record.{read}.size(), {field['capacity']}u);",
                        f"EXPECT_EQ(place(record.{read}[{last}]), stored(record, {index}, {last}));",
                        f"EXPECT_FALSE(record.{read}[{last + 1}]);"]
            return [f"EXPECT_EQ(place(record.{read}), stored(record, {index}));"]
        if kind == "var_string":
            return [f"record.set_{name}(\"a name\").value();", f"EXPECT_EQ(record.{read}, \"a name\");"]
        if "capacity" in field:
            last = field["capacity"] - 1
            return [f"record.set_{name}({last}, {kind}{{{index + 3}}}).value();",
                    f"EXPECT_EQ(number(record, {index}, {last}), record.{read}[{last}]);",
                    f"EXPECT_EQ(record.{read}.size(), {field['capacity']}u);"]
        if kind in self.enumerations:
            last = self.enumerations[kind]["values"][-1]["literal"]
            return [f"record.set_{name}(ptp::{cpp_name(kind)}::{cpp_name(last)}).value();",
                    f"EXPECT_EQ(number(record, {index}), static_cast<u_int64>({value}));",
                    f"EXPECT_EQ({value}, ptp::{cpp_name(kind)}::{cpp_name(last)});"]
        if kind == "vela_boolean":
            return [f"record.set_{name}(true).value();", f"EXPECT_TRUE({value} && number(record, {index}) == 1);"]
        if kind in NUMBERS:
            return [f"record.set_{name}(static_cast<{kind}>({index + 77})).value();",
                    f"EXPECT_EQ({value}, static_cast<{kind}>({index + 77}));",
                    f"EXPECT_EQ(number(record, {index}), {index + 77}u);"]
        return [f"record.set_{name}(filled<{kind}>({index + 1})).value();",
                f"EXPECT_TRUE(same({value}, filled<{kind}>({index + 1})) && "
                f"same({value}, *static_cast<const {kind} *>(stored(record, {index}))));"]

    def structure(self, row):
        name = cpp_name(row["name"])
        lines = [line for index, field in enumerate(row["fields"]) for line in self.field(name, index, field)]
        visited = sum("length_of" not in field for field in row["fields"])
        body = "".join(f"    {line}\n" for line in lines)
        return (f"static_assert(std::is_same_v<ptp::{name}::c_type, ::{row['name']}>);\n"
                f"TEST_P(EveryType, Structure_{row['name']}) {{\n"
                f"    auto record = ptp::{name}::create(handle_).value();\n{body}"
                f"    expect_whole(record, {visited});\n}}\n")

    def message(self, row):
        name = cpp_name(row["name"] + "_message")
        lines = []
        for index, payload in enumerate(row["payloads"]):
            read = f"message.{cpp_name(payload)}()"
            if payload in self.structures:
                lines.append(f"EXPECT_EQ(place({read}), stored(message, {index}));")
            else:
                lines += [f"message.set_{cpp_name(payload)}(true).value();", f"EXPECT_TRUE({read});"]
        body = "".join(f"    {line}\n" for line in lines)
        return (f"static_assert(std::is_same_v<ptp::{name}::c_type, ::{row['name']}_message>);\n"
                f"TEST_P(EveryType, Message_{row['name']}) {{\n"
                f"    auto message = ptp::{name}::create(handle_).value();\n{body}"
                f"    expect_travels(message, {len(row['payloads'])});\n}}\n")

    def literals(self, row):
        name = cpp_name(row["name"])
        return "".join(f"static_assert(static_cast<u_int32>(ptp::{name}::{cpp_name(value['literal'])}) == "
                       f"::{value['literal']});\n" for value in row["values"])


def main(schema, output):
    read = lambda name: tomllib.loads(pathlib.Path(schema, name + ".toml").read_text())
    subjects = [read(name) for name in read("catalogue")["subjects"]]
    writer = Writer(subjects)
    text = '#include "every_type.h"\n\nnamespace {\n\n'
    text += "".join(writer.literals(row) for row in writer.enumerations.values())
    text += "".join(writer.structure(row) for row in writer.structures.values())
    text += "".join(writer.message(row) for row in writer.messages.values())
    pathlib.Path(output).write_text(text + "\n}  // namespace\n")


main(*sys.argv[1:])
