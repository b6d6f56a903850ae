#!/usr/bin/env python3
"""Makes the site: the documents, and the reference of a build, as HTML without anything from elsewhere.

    make.py --ptpcfg PROGRAM --reference FOLDER --out FOLDER

OUT/pages is what the pages are made of, OUT/site the site.
"""

import argparse
import json
import pathlib
import re
import shutil
import subprocess
import sys

import reference

ROOT = pathlib.Path(__file__).resolve().parent.parent


def without_outside_links(text, page, pages):
    """A page whose links to what only the source tree has are names of files."""

    def replaced(match):
        words, target = match[1], match[2]
        path = target.partition("#")[0]
        file = (page.parent / path).resolve()
        if "://" in target or not path or file in pages or path.endswith(".png") \
                or file == ROOT / "reference/index.md":
            return match[0]
        plain = words.strip("`")
        return f"`{plain}`" if target.endswith(plain) else f"{words} (`{target.removeprefix('../')}`)"

    return re.sub(r"\[([^\]]+)\]\(([^)\s]+)\)", replaced, text)


def copy_documents(out):
    """docs/index.md as the first page, CHANGELOG.md and the rest of docs/, with links that lead somewhere."""
    sources = [ROOT / "CHANGELOG.md", *sorted((ROOT / "docs").glob("*.md"))]
    pages = {path.resolve() for path in sources}
    for path in sources:
        text = without_outside_links(path.read_text(), path, pages)
        target = out / path.relative_to(ROOT)
        if path.name == "index.md":
            text = re.sub(r"\]\((?=[\w-]+\.md)", "](docs/", text).replace("](../", "](")
            target = out / "index.md"
        else:
            text = re.sub(r"(?<=\]\()(docs/)?index\.md", "index.md" if path.parent == ROOT else "../index.md", text)
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_text(text)
    shutil.copytree(ROOT / "docs" / "pictures", out / "docs" / "pictures", dirs_exist_ok=True)
    shutil.copy(ROOT / "site" / "style.css", out)


def configuration(navigation):
    """mkdocs.yml, with the reference in its navigation, which stands last in it."""
    text = (ROOT / "site" / "mkdocs.yml").read_text()
    missing = [path.name for path in (ROOT / "docs").glob("*.md")
               if path.name != "index.md" and f" docs/{path.name}\n" not in text]
    if missing:
        sys.exit(f"site/mkdocs.yml: nav does not have docs/{missing[0]}; add it to a section")
    return f"{text}  - {json.dumps({'Reference': navigation})}\ndocs_dir: pages\nsite_dir: site\n"


def main():
    parser = argparse.ArgumentParser()
    for option in ("ptpcfg", "reference", "out"):
        parser.add_argument("--" + option, required=True, type=pathlib.Path)
    parser.add_argument("--mkdocs", default="mkdocs")
    options = parser.parse_args()
    for folder in ("pages", "site"):
        shutil.rmtree(options.out / folder, ignore_errors=True)
    pages = options.out / "pages"
    pages.mkdir(parents=True)
    copy_documents(pages)
    navigation = reference.write(options.reference, pages / "reference", ROOT / "schema", options.ptpcfg.resolve(),
                                 ROOT / "examples/clocks")
    (options.out / "mkdocs.yml").write_text(configuration(navigation))
    run = subprocess.run([options.mkdocs, "build", "--strict", "--quiet", "-f", options.out / "mkdocs.yml"])
    if run.returncode != 0:
        sys.exit("the site was not made; what is wrong stands above")


main()
