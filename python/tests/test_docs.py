"""Stubs, tutorial and gallery do what they say."""

import pathlib
import subprocess
import sys

import pytest

import tzm

ROOT = pathlib.Path(__file__).parents[2]
GALLERY = sorted(p for p in (ROOT / "python" / "gallery").glob("*.py") if p.name != "draw.py")

TYPED = """
from typing import List
import numpy as np
import tzm

rec: tzm.Recording = tzm.read("line.DZT", channel=0)
image: tzm.Recording = tzm.run(rec, permittivity=6.5)
data: np.ndarray = image.data
names: List[str] = image.channels
step = tzm.FkMigration(permittivity=6.5, time_zero=125)
step.time_zero = 3
zero: int = step.time_zero
chain = tzm.Chain([step, "Mig2Post"])
axes = image.slice(depth=0.1).plot()
image.plot(channel=0).set_title("image")
code: int = tzm.CalcError("text", 3).code
"""
WRONG = [
    'tzm.FkMigration(permittivity="six")',
    "tzm.FkMigratoin()",
    "tzm.FkMigration().time_zero = 2.5",
    'tzm.BgRemoval(algorithm="mean")',
    "tzm.read(3)",
    'tzm.run("line.DZT").slice(deep=3)',
]


def test_the_stubs_say_what_the_module_does(tmp_path):
    pytest.importorskip("mypy")
    wrong = TYPED.count("\n") + 1
    (tmp_path / "user.py").write_text(TYPED + "\n".join(WRONG) + "\n")
    package = pathlib.Path(tzm.__file__).parent
    result = subprocess.run(
        [sys.executable, "-m", "mypy", "--config-file", ROOT / "pyproject.toml", "--cache-dir", tmp_path / "cache",
         tmp_path / "user.py"],
        capture_output=True, text=True, env={"MYPYPATH": str(package.parent), "PATH": "/usr/bin:/bin"},
    )
    complaints = [line for line in result.stdout.splitlines() if ": error:" in line]
    told = {int(line.split("user.py:")[1].split(":")[0]) for line in complaints if "user.py:" in line}
    assert told == set(range(wrong, wrong + len(WRONG))), result.stdout
    assert len(complaints) == len(WRONG), result.stdout  # the package's own modules, which were followed, are sound


def test_the_tutorials_page_is_what_its_notebook_gives(tmp_path):
    pytest.importorskip("nbclient")
    subprocess.run([sys.executable, ROOT / "python" / "tools" / "tutorial.py", "--check"], check=True)


def test_every_script_of_the_gallery_draws_its_picture(tmp_path):
    pages = {kind._row["page"].replace("-", "_") for kind in tzm.algorithms()}
    assert pages <= {script.stem for script in GALLERY}
    for script in GALLERY:
        out = tmp_path / f"{script.stem}.png"
        subprocess.run([sys.executable, script, out], check=True, capture_output=True)
        assert out.stat().st_size > 10000
