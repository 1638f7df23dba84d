"""Runs the tutorial's notebook and writes its page with pictures: tutorial.py [--check].

With --check nothing is written, and the page must be what the notebook gives.
"""

from __future__ import annotations

import base64
import os
import pathlib
import sys

import nbclient
import nbformat

DOCS = pathlib.Path(__file__).parents[2] / "docs"
NOTEBOOK, PAGE = DOCS / "python-tutorial.ipynb", DOCS / "python-tutorial.md"


def page_of(notebook, pictures):
    """The notebook as Markdown; its pictures go into a list of names and bytes."""
    parts = []
    for cell in notebook.cells:
        if cell.cell_type == "markdown":
            parts.append(cell.source)
            continue
        parts.append(f"```python\n{cell.source}\n```")
        for output in cell.outputs:
            if output.get("name") == "stderr":  # a bar of progress
                continue
            data = output.get("data", {})
            if "image/png" in data:
                name = f"python-tutorial-{len(pictures) + 1}.png"
                pictures.append((name, base64.b64decode(data["image/png"])))
                parts.append(f"![{cell.metadata.get('picture', 'picture')}](images/{name})")
            else:
                text = output.get("text") or data.get("text/plain", "")
                parts.append(f"```\n{text.rstrip()}\n```")
    return "\n\n".join(parts) + "\n"


def main():
    notebook = nbformat.read(NOTEBOOK, as_version=4)
    os.environ.pop("MPLBACKEND", None)  # the notebook's own shows the pictures
    os.chdir(os.environ.get("TMPDIR", "/tmp"))
    nbclient.NotebookClient(notebook, timeout=300, kernel_name="python3").execute()
    pictures = []
    page = page_of(notebook, pictures)
    if "--check" in sys.argv:
        if PAGE.read_text(encoding="utf-8") != page:
            sys.exit(f"{PAGE} isn't what {NOTEBOOK.name} gives; write it again with python/tools/tutorial.py\n{page}")
        return
    PAGE.write_text(page, encoding="utf-8")
    for name, content in pictures:
        (DOCS / "images" / name).write_bytes(content)


main()
