"""Writes the type stubs of the built package: stubs.py FOLDER. The package must be importable."""

from __future__ import annotations

import inspect
import pathlib
import re
import sys
from typing import Any, List

import tzm
from tzm import _core, plot, recording
from tzm.algorithms import _KINDS

HEAD = "# Made by tools/stubs.py from the built module.\n"
TYPES = {"sequence of int": "Sequence[int]", "sequence of float": "Sequence[float]", "dict of int": "Mapping[str, int]"}
FIELD_TYPES = {
    "list of int": "List[int]",
    "list of str": "List[str]",
    "list of (int, int)": "List[Tuple[int, int]]",
    "array of shape (n, 5)": "np.ndarray",
    "numpy.ndarray": "np.ndarray",
    "tuple": "Tuple[float, ...]",
    "tuple of int": "Tuple[int, int, int]",
    "dict": "Dict[str, Any]",
}


def python_type(told: str) -> str:
    optional = told.endswith(" or None")
    name = told.removesuffix(" or None")
    name = FIELD_TYPES.get(name, name)
    return f"Optional[{name}]" if optional else name


def of_pybind(doc: str) -> str:
    """A signature as pybind11 writes it, as a stub."""
    text = doc.splitlines()[0].replace("tzm._core.", "")
    text = re.sub(r"numpy\.ndarray\[[^\]]*\]", "np.ndarray", text)
    text = re.sub(r"numpy\.\w+", "Any", text)
    text = re.sub(r"\bobject\b|\bhandle\b", "Any", text)
    text = text.replace("os.PathLike", "str").replace("self: Recording", "self")
    text = re.sub(r": list\b", ": List[Any]", re.sub(r"-> list$", "-> List[Any]", text))
    text = re.sub(r"-> dict$", "-> Dict[str, Any]", re.sub(r": dict\b", ": Dict[str, Any]", text))
    text = re.sub(r"-> tuple$", "-> Tuple[Any, ...]", text)
    text = re.sub(r"\*\*kwargs", "**kwargs: Any", text)
    text = re.sub(r"self: [\w.:]+", "self", text)
    arguments, arrow, result = text.rpartition(" -> ")
    text = arguments.replace("List[", "Sequence[") + arrow + result
    return f"def {text}: ..."


def methods_of(*holders: type) -> List[str]:
    """Signatures of methods and properties written in Python."""
    lines = []
    for holder in holders:
        for name, member in vars(holder).items():
            if isinstance(member, property):
                kind = inspect.signature(member.fget).return_annotation  # type: ignore[arg-type]
                lines += ["    @property", f"    def {name}(self) -> {kind}: ..."]
            elif callable(member) and (not name.startswith("_") or name in ("__len__", "__array__")):
                signature = re.sub(r" = [^,)]+", " = ...", str(inspect.signature(member))).replace("'", "")
                lines.append(f"    def {name}{signature}: ...")
    return [line.replace("_core.", "").replace('"', "") for line in lines]


def core() -> str:
    lines = [
        HEAD,
        "import os",
        "from typing import Any, Dict, List, Mapping, Optional, Sequence, Set, Tuple, Union",
        "",
        "import numpy as np",
        "import xarray",
        "from matplotlib.axes import Axes",
        "",
        "from .plot import DepthSlice",
        "",
    ]
    for name, value in vars(_core).items():
        if isinstance(value, (str, float, tuple, dict)) and (not name.startswith("__") or name == "__version__"):
            kind = {str: "str", float: "float", tuple: "Tuple[Tuple[str, str], ...]", dict: "Dict[str, Any]"}
            lines.append(f"{name}: {kind[type(value)]}")
    for kind in (_core.Recording, _core.Algorithm, _core.Source, _core.Parts):
        lines += ["", f"class {kind.__name__}:"]
        if kind is _core.Recording:
            fields = ", ".join(
                f"{n}: {optional(python_type(m.split(':')[0]))} = None" for n, m in _core.RECORDING_FIELDS
            )
            lines.append(f"    def __init__(self, data: Any, *, {fields}) -> None: ...")
            for name, meaning in _core.RECORDING_FIELDS:
                lines.append(f"    {name}: {python_type(meaning.split(':')[0])}")
            for name in ("data", "shape", "first_time", "recipe", "report"):
                told = getattr(kind, name).__doc__.split(":")[0]
                lines += ["    @property", f"    def {name}(self) -> {python_type(told)}: ..."]
            lines.append("    def about(self) -> Dict[str, Any]: ...")
            lines += methods_of(recording._Methods, plot._Methods)
            continue
        for name, member in vars(kind).items():
            if isinstance(member, property):
                told = (member.__doc__ or "Any").split(":")[0]
                lines += ["    @property", f"    def {name}(self) -> {python_type(told)}: ..."]
            elif (member.__doc__ or "").startswith(f"{name}(") and (not name.startswith("__") or name == "__init__"):
                lines.append("    " + of_pybind(member.__doc__))
    lines.append("")
    for name, value in vars(_core).items():
        if inspect.isbuiltin(value) and value.__doc__:
            lines.append(of_pybind(value.__doc__))
    return "\n".join(lines) + "\n"


def optional(kind: str) -> str:
    return kind if kind.startswith("Optional") else f"Optional[{kind}]"


def literal(words: List[str]) -> str:
    return f"Literal[{', '.join(map(repr, words))}]"


def parameter_type(parameter: Any) -> str:
    kind = _KINDS[parameter["kind"]]
    return literal(parameter["words"]) if kind == "str" and parameter["words"] else TYPES.get(kind, kind)


def package() -> str:
    source = pathlib.Path(tzm.__file__).read_text(encoding="utf-8")
    imports = [line for line in source.splitlines() if re.match(r"from \.\w* ?import|from \.[\w.]+ import", line)]
    lines = [HEAD, "from typing import Any, List, Literal, Mapping, Sequence", ""]
    for line in imports:
        module, names = line.removeprefix("from ").split(" import ")
        kept = [f"{n} as {n}" for n in names.split(", ") if n not in ("CLASSES", "did_you_mean")]
        if kept:
            lines.append(f"from {module} import {', '.join(kept)}")
    lines += ["", "__version__: str", "__all__: List[str]", ""]
    for name in tzm._PUBLIC:
        value = getattr(tzm, name)
        if inspect.isfunction(value) and value.__module__ == "tzm":
            lines.append(f"def {name}{str(inspect.signature(value)).replace(chr(39), '')}: ...")
    for kind in tzm.algorithms():
        lines += ["", f"class {kind.__name__}(Algorithm):", f'    """{kind.__doc__.splitlines()[0]}"""', ""]
        types = {name: parameter_type(p) for name, p in kind._parameters.items()}
        arguments = ", ".join(f"{name}: {told} = ..." for name, told in types.items())
        lines.append(f"    def __init__(self, *, {arguments}, **document: Any) -> None: ...")
        for name, told in types.items():
            lines += ["    @property", f"    def {name}(self) -> {told}: ..."]
            lines += [f"    @{name}.setter", f"    def {name}(self, value: {told}) -> None: ..."]
    return "\n".join(lines) + "\n"


folder = pathlib.Path(sys.argv[1])
(folder / "_core.pyi").write_text(core(), encoding="utf-8")
(folder / "__init__.pyi").write_text(package(), encoding="utf-8")
(folder / "py.typed").write_text("", encoding="utf-8")
