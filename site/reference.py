"""Completes the generated reference pages: a drawing of each record, and examples that the library writes."""

import json
import pathlib
import re
import subprocess
import tomllib

import drawing

LONGEST_EXAMPLE = 60  # lines


class Schema:
    """What the types hold, from the files of schema/."""

    def __init__(self, folder):
        load = lambda name: tomllib.loads((folder / f"{name}.toml").read_text())
        files = [load(name) for name in load("catalogue")["subjects"]]
        rows = lambda kind: {row["name"]: row for file in files for row in file.get(kind, [])}
        self.structures, self.enumerations, self.messages = rows("structure"), rows("enumeration"), rows("message")

    def default(self, name):
        """The least that the library's reading of JSON takes for a value of a type."""
        if name in self.structures:
            return {}
        if name in self.enumerations:
            return self.enumerations[name]["values"][0]["literal"]
        return False if name == "vela_boolean" else 0


class Examples:
    """Values of the types: from the configurations of examples/ where one has them, else those of a new record."""

    def __init__(self, schema, ptpcfg, folder):
        self.schema, self.ptpcfg, self.found = schema, ptpcfg, {}
        for path in sorted(folder.glob("*.xml")):
            text = self._run("convert", str(path), "--to", "json")
            for name, payloads in json.loads(text).items():
                self.found.setdefault(name + "_message", {name: payloads})
                for payload, value in payloads.items():
                    self._collect(payload, value)

    def _run(self, *words, data=None):
        return subprocess.run([self.ptpcfg, *words], input=data, capture_output=True, text=True, check=True).stdout

    def _collect(self, name, value):
        self.found.setdefault(name, value)
        for field in self.schema.structures.get(name, {"fields": []})["fields"]:
            inner = value.get(field["name"]) if isinstance(value, dict) else None
            for each in inner if isinstance(inner, list) else [inner]:
                if each is not None:
                    self._collect(field["type"], each)

    def value(self, name):
        if name in self.found:
            return self.found[name]
        message = self.schema.messages.get(name.removesuffix("_message"))
        if message is None:
            return self.schema.default(name)
        return {message["name"]: {payload: self.schema.default(payload) for payload in message["payloads"]}}

    def written(self, name):
        """The value as the library writes it, by format."""
        is_message = name.removesuffix("_message") in self.schema.messages
        kind = [] if is_message else ["--type", name]
        data = json.dumps(self.value(name))
        return {form: self._run("convert", "-", *kind, "--from", "json", "--to", form, data=data)
                for form in ("json", "xml")}


def shortened(text):
    lines = text.rstrip("\n").split("\n")
    more = len(lines) - LONGEST_EXAMPLE
    return lines if more <= 0 else lines[:LONGEST_EXAMPLE] + [f"... {more} lines more"]


def example_section(written):
    text = "## Example\n\n"
    for form, content in written.items():
        text += f'=== "{form.upper()}"\n\n'
        text += "".join(f"    {line}\n" for line in [f"```{form}", *shortened(content), "```"]) + "\n"
    return text


def drawing_section(page):
    """The latest layout without state flags, drawn from its table; nothing for a page without one."""
    tables = re.findall(r"^### (?:Variant \d+|Without state flags)\n.*?(?=^##|\Z)", page, re.M | re.S)
    items = []
    for row in re.findall(r"^\| ([\d +n]+) \| ([\d +n]+) \| `([^`]+)` \|", tables[-1] if tables else "", re.M):
        width = int(row[1]) if row[1].isdigit() else None
        items.append({"offset": row[0].replace(" ", ""), "width": width, "name": row[2]})
    if not items:
        return ""
    note = "The latest variant, without state flags. A cell that is too narrow for its name has its offset, after `@`."
    return note + "\n\n```text\n" + "\n".join(drawing.draw(items)) + "\n```\n\n"


def completed(name, page, examples):
    """The page of a type with its example before the wire layout, and the drawing first in that."""
    head, mark, rest = page.partition("## Wire layout\n\n")
    return head + example_section(examples.written(name)) + mark + drawing_section(page) + rest


def navigation(index):
    """The pages by subject, as the index lists them."""
    subjects = re.findall(r'<a id="subject-\w+"></a>\n## ([^\n]+)\n(.*?)(?=<a id|\Z)', index, re.S)
    return [{title: [{name: f"reference/{name}.md"} for name in re.findall(r"^\| \[`(\w+)`\]", text, re.M)]}
            for title, text in subjects]


def write(generated, out, schema_folder, ptpcfg, examples_folder):
    """Writes the completed pages; gives their navigation."""
    examples = Examples(Schema(schema_folder), ptpcfg, examples_folder)
    out.mkdir(parents=True)
    for path in sorted(pathlib.Path(generated).glob("*.md")):
        page = path.read_text().replace("\\<", "&lt;")  # which MkDocs knows no escape for
        (out / path.name).write_text(page if path.stem == "index" else completed(path.stem, page, examples))
    return [{"Overview": "reference/index.md"}, *navigation((pathlib.Path(generated) / "index.md").read_text())]
