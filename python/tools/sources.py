"""Writes the literature that the pages of the manual name, for the docstrings: sources.py PAGES OUTPUT."""

import json
import pathlib
import re
import sys

AUTHOR = r"(?:[A-Z]\. ?)+ ?[A-Z][\w'-]+"
SOURCE = re.compile(rf"{AUTHOR}(?:(?:,? and |, ){AUTHOR})*, \*[^*]+\*,? [^()]{{2,60}}\(\d{{4}}\)(?:, [\d-]+)?")


def sources(page: pathlib.Path) -> list:
    text = re.sub(r"\s+", " ", page.read_text(encoding="utf-8"))
    return [match.group(0).replace("*", "") for match in SOURCE.finditer(text)]


found = {page.stem: sources(page) for page in sorted(pathlib.Path(sys.argv[1]).glob("*.md"))}
pathlib.Path(sys.argv[2]).write_text(json.dumps({k: v for k, v in found.items() if v}, indent=1), encoding="utf-8")
