#!/usr/bin/env python3
"""Makes the site and looks at it as a browser would: pages, links and anchors, nothing from elsewhere, drawings.

    check.py --mkdocs PROGRAM --make FILE --ptpcfg PROGRAM --reference FOLDER --out FOLDER
"""

import argparse
import functools
import html.parser
import json
import os
import pathlib
import re
import subprocess
import sys
import urllib.parse

SKIPPED = 77
WIDEST = 100  # characters of a line that does not wrap
LOADS = {"script": "src", "img": "src", "iframe": "src", "link": "href", "source": "src"}
faults = []


def expect(holds, where, what):
    if not holds:
        faults.append(f"{where}: {what}")


class Page(html.parser.HTMLParser):
    """What a page refers to, what can be referred to in it, and its lines that do not wrap."""

    def __init__(self, text):
        super().__init__()
        self.loads, self.links, self.anchors, self.fixed, self.depth = [], [], {"", "__skip"}, [], 0
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        self.anchors |= {values[key] for key in ("id", "name") if values.get(key)}
        # What <link rel="canonical"> and the like name is not loaded.
        is_loaded = tag != "link" or values.get("rel") in ("stylesheet", "icon", "preload", "preconnect")
        if tag in LOADS and is_loaded and values.get(LOADS[tag]):
            self.loads.append(values[LOADS[tag]])
        if tag == "a" and values.get("href"):
            self.links.append(values["href"])
        if tag == "pre":
            self.depth += 1
            self.fixed.append("")

    def handle_endtag(self, tag):
        self.depth -= tag == "pre"

    def handle_data(self, data):
        if self.depth:
            self.fixed[-1] += data


@functools.cache
def resolved(folder, target):
    """The file that a link leads to, or None."""
    file = (folder / urllib.parse.unquote(target)).resolve()
    file = file / "index.html" if file.is_dir() else file
    return file if file.is_file() else None


def check_links(pages):
    for path, page in pages.items():
        for target in page.loads:
            expect("//" not in target, path, f"loads {target}")
        for target in page.links + page.loads:
            parts = urllib.parse.urlsplit(target)
            if parts.scheme or parts.netloc or path.name == "404.html":
                continue
            file = resolved(path.parent, parts.path) if parts.path else path
            expect(file is not None, path, f"link to {target}, which is not")
            if file in pages:
                expect(urllib.parse.unquote(parts.fragment) in pages[file].anchors, path, f"no anchor for {target}")


def check_styles(site):
    for path in site.rglob("*.css"):
        for target in re.findall(r"(?:url\(|@import\s)[\"']?([^\"')]*)", path.read_text()):
            expect(not target.startswith(("http", "//")), path, f"loads {target}")


def check_drawing(where, page):
    """Each item of the last layout without state flags stands in the drawing, by name or by offset."""
    drawings = [text for text in page.fixed if "-+-+-+" in text]
    source = where.read_text()
    tables = re.findall(r"^### (?:Variant \d+|Without state flags)\n.*?(?=^##|\Z)", source, re.M | re.S)
    if not tables:
        return
    expect(len(drawings) == 1, where, f"has {len(drawings)} drawings")
    cells = {cell.strip().removesuffix(" (n bytes)") for text in drawings for cell in re.split(r"[|\n]", text)}
    for offset, name in re.findall(r"^\| ([\d +n]+) \| [\d +n]+ \| `([^`]+)` \|", tables[-1], re.M):
        expect({name, "@" + offset.replace(" ", "")} & cells, where, f"{name} at {offset} is not drawn")


def check_reference(out, pages, generated):
    names = [path.stem for path in generated.glob("*.md")]
    expect(len(names) > 130, generated, f"has {len(names)} pages only")
    for name in names:
        path = (out / "site/reference" / f"{name}.html").resolve()
        expect(path in pages, path, "is not made")
        if path not in pages or name == "index":
            continue
        fixed = pages[path].fixed
        expect(any(text.lstrip().startswith(("{", '"')) for text in fixed), path, "has no JSON")
        expect(any(text.lstrip().startswith("<") for text in fixed), path, "has no XML")
        widest = max(len(line) for text in fixed for line in text.splitlines())
        expect(widest <= WIDEST, path, f"has a line of {widest} characters")
        check_drawing(out / "pages/reference" / f"{name}.md", pages[path])
    found = json.loads((out / "site/search/search_index.json").read_text())["docs"]
    titles = {row["title"] for row in found}
    expect(set(names) - {"index"} <= titles, "search", f"does not find {sorted(set(names) - {'index'} - titles)[:3]}")


def main():
    parser = argparse.ArgumentParser()
    for option in ("mkdocs", "make", "ptpcfg", "reference", "out"):
        parser.add_argument("--" + option, required=True)
    options = parser.parse_args()
    if not os.access(options.mkdocs, os.X_OK):
        print("SKIPPED: mkdocs is not installed (Debian: apt-get install mkdocs mkdocs-material); no page was made")
        return SKIPPED
    subprocess.run([sys.executable, "-B", options.make, "--mkdocs", options.mkdocs, "--ptpcfg", options.ptpcfg,
                    "--reference", options.reference, "--out", options.out], check=True)
    out = pathlib.Path(options.out).resolve()
    pages = {path.resolve(): Page(path.read_text()) for path in (out / "site").rglob("*.html")}
    check_links(pages)
    check_styles(out / "site")
    check_reference(out, pages, pathlib.Path(options.reference))
    print("\n".join(faults[:20]) or f"{len(pages)} pages, all links lead somewhere")
    return 1 if faults else 0


sys.exit(main())
