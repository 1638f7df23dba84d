"""The algorithms, one class each, made from the library's list of them: a new one appears by itself."""

from __future__ import annotations

import inspect
import json
import textwrap
from importlib import resources
from typing import Any, Dict, List, Mapping, Optional, Type, Union

import numpy as np

from . import _core
from .errors import ParameterError
from .names import did_you_mean, snake_case

# By the numbers of ValueType.
_KINDS = ["int", "float", "bool", "str", "str", "sequence of int", "dict of int", "sequence of float"]


class Algorithm(_core.Algorithm):
    """Base of all algorithms. An object holds parameters and is called with a block.

    Parameters are attributes, too. They have the names of the documents in snake_case (``time_zero``); those of the
    documents (``timeZero``) are accepted.
    """

    _row: Dict[str, Any]
    _parameters: Dict[str, Dict[str, Any]]  # by the names of Python
    _documents: Dict[str, str]  # names of Python by those of the documents

    def __init__(self, **parameters: Any) -> None:
        if type(self) is Algorithm:
            raise TypeError("Algorithm is the base of the algorithms; tzm.algorithms() lists them")
        super().__init__(self._row["name"])
        self.set(**parameters)

    @classmethod
    def _name(cls, name: str) -> str:
        found = cls._documents.get(name, name)
        if found not in cls._parameters:
            raise ParameterError(
                f"{cls.__name__} has no parameter '{name}'{did_you_mean(name, cls._parameters)}"
            )
        return found

    def set(self, **parameters: Any) -> "Algorithm":
        """Sets parameters and gives the object itself. Nothing is set if one of them is wrong."""
        given = {self._name(name): value for name, value in parameters.items()}
        before = {name: getattr(self, name) for name in given}
        try:
            for name, value in given.items():
                self._put(name, value)
        except Exception:
            for name, value in before.items():
                self._put(name, value)
            raise
        return self

    def _put(self, name: str, value: Any) -> None:
        parameter = self._parameters[name]
        kind = _KINDS[parameter["kind"]]
        if isinstance(value, np.generic):
            value = value.item()
        if kind == "dict of int" and isinstance(value, Mapping):
            value = {_member(key, parameter["words"]): number for key, number in value.items()}
        elif kind == "str" and not isinstance(value, str) and not parameter["words"]:
            value = json.dumps(value)  # layers, as a list
        if value is None:
            raise ParameterError(f"{type(self).__name__}: '{name}' must be {parameter['type']}, not None")
        try:
            self._set(parameter["name"], value)
        except ParameterError:
            raise ParameterError(
                f"{type(self).__name__}: '{name}' must be {parameter['type']}, not {value!r}"
            ) from None

    def parameters(self) -> Dict[str, Any]:
        """All parameters with their values."""
        return {name: getattr(self, name) for name in self._parameters}

    def __call__(
        self,
        block: Any,
        *,
        delta_t: Optional[float] = None,
        delta_x: Optional[float] = None,
        config: Union[None, str, Mapping[str, Any]] = None,
        threads: int = 0,
    ) -> Any:
        """Runs the algorithm.

        Parameters
        ----------
        block : array_like or Recording
            Samples of the axes (bscans, ascans, samples), of which the first may be missing; or a recording, which also
            fills in what isn't set of time zero, permittivity and antenna offset. An array of 32-bit floats in C order
            is read where it stands, another one is converted.
        delta_t : float, optional
            Seconds between samples, of an array; 5e-11 if it isn't told.
        delta_x : float, optional
            Metres between A-scans, of an array; 0.005 if it isn't told.
        config : dict or str, optional
            Configuration document; its keys go over the parameters.
        threads : int, optional
            0: as many as OpenMP takes.

        Returns
        -------
        numpy.ndarray or Recording
            What the block was, with as many axes; new memory.

        Raises
        ------
        CalcError
            The algorithm can't work on such a block.
        """
        if isinstance(block, _core.Recording):
            if delta_t is not None or delta_x is not None:
                raise ValueError("a recording has intervals of its own")
            from .chain import Chain

            return Chain([self]).run(block, config=config, threads=threads, progress=False)
        return self._run_on_array(
            block,
            _core.DELTA_T if delta_t is None else delta_t,
            _core.DELTA_X if delta_x is None else delta_x,
            config,
            threads,
        )

    def __repr__(self) -> str:
        given = self._given()
        shown = [f"{name}={getattr(self, name)!r}" for name, p in self._parameters.items() if p["name"] in given]
        return f"{type(self).__name__}({', '.join(shown)})"

    def __eq__(self, other: object) -> bool:
        return type(self) is type(other) and self.parameters() == other.parameters()  # type: ignore[attr-defined]

    __hash__ = None  # type: ignore[assignment]

    def __getattr__(self, name: str) -> Any:
        if not name.startswith("_") and name in self._documents:
            return getattr(self, self._documents[name])
        known = [] if name.startswith("_") else self._parameters
        raise AttributeError(f"'{type(self).__name__}' has no attribute '{name}'{did_you_mean(name, known)}")

    def __setattr__(self, name: str, value: Any) -> None:
        if name.startswith("_"):
            object.__setattr__(self, name, value)
        else:
            self._put(self._name(name), value)

    def __reduce__(self) -> Any:
        given = self._given()
        return _made, (
            type(self).__name__,
            {name: getattr(self, name) for name, p in self._parameters.items() if p["name"] in given},
        )


def _made(name: str, parameters: Dict[str, Any]) -> Algorithm:
    return algorithm(name)(**parameters)


def _member(key: str, members: List[str]) -> str:
    """A member of an object by its own name or that of Python."""
    return {snake_case(member): member for member in members}.get(key, key)


def _property(name: str, parameter: Dict[str, Any]) -> property:
    document = parameter["name"]

    def get(self: Algorithm) -> Any:
        return self._get(document)

    def put(self: Algorithm, value: Any) -> None:
        self._put(name, value)

    return property(get, put, doc=_meaning(parameter))


def _meaning(parameter: Dict[str, Any]) -> str:
    text = parameter["meaning"]
    text = text[0].upper() + text[1:] + "."
    unit, low, high = parameter["unit"], parameter["low"], parameter["high"]
    limits = [f"from {low:g}"] * (low > -np.inf) + [f"to {high:g}"] * (high < np.inf)
    facts = ([f"in {unit}"] if unit else []) + ([" ".join(limits)] if limits else [])
    if parameter["words"] and _KINDS[parameter["kind"]] == "str":
        facts.append("one of " + ", ".join(f'"{word}"' for word in parameter["words"]))
    return f"{text} ({'; '.join(facts)})" if facts else text


def _wrapped(text: str, indent: str) -> str:
    return textwrap.fill(text, 100, initial_indent=indent, subsequent_indent=indent)


def _docstring(row: Dict[str, Any], sources: Dict[str, List[str]]) -> str:
    summary = row["summary"]
    lines = [summary[0].upper() + summary[1:] + ".", "", "Parameters", "----------"]
    for parameter in row["parameters"]:
        name = snake_case(parameter["name"])
        lines.append(f"{name} : {_KINDS[parameter['kind']]}, default {parameter['default']!r}")
        lines.append(_wrapped(_meaning(parameter), "    "))
    lines += ["", "Returns", "-------", "numpy.ndarray or Recording", _wrapped(row["shape"], "    ")]
    lines += ["", "Raises", "------", "CalcError", "    The algorithm can't work on such a block."]
    notes = [f"At once it must see {row['coupling']}."]
    if row["tells_channels"]:
        notes.append("B-scans are interleaved by channel, of which there are 5 or 7; a single B-scan is taken as well.")
    if row["most_samples"] < 2**31 - 1:
        notes.append(f"A-scans have at most {row['most_samples']} samples.")
    lines += ["", "Notes", "-----", _wrapped(" ".join(notes), "")]
    if row["keys"]:
        lines += ["", "Keys of the configuration document (``config=``) go over the parameters:", ""]
        for key in row["keys"]:
            limits = f", {key['limits']}" if key["limits"] else ""
            lines.append(f"* ``{key['name']}``: {key['type']}, default {key['default']}{limits}")
    lines += ["", "References", "----------"]
    lines += [_wrapped(source, "") for source in sources.get(row["page"], [])]
    lines.append(f"The manual: docs/algorithms/{row['page']}.md")
    return "\n".join(lines) + "\n"


def _sources() -> Dict[str, List[str]]:
    """Literature of the pages of the manual."""
    try:
        text = resources.files(__package__).joinpath("sources.json").read_text(encoding="utf-8")
    except (FileNotFoundError, ModuleNotFoundError):
        return {}
    found: Dict[str, List[str]] = json.loads(text)
    return found


def _class_of(row: Dict[str, Any], sources: Dict[str, List[str]]) -> Type[Algorithm]:
    parameters = {snake_case(p["name"]): p for p in row["parameters"]}
    members: Dict[str, Any] = {name: _property(name, p) for name, p in parameters.items()}
    members.update(
        __doc__=_docstring(row, sources),
        __module__=__package__,
        __signature__=inspect.Signature(
            [inspect.Parameter(n, inspect.Parameter.KEYWORD_ONLY, default=p["default"]) for n, p in parameters.items()]
        ),
        _row=row,
        _parameters=parameters,
        _documents={p["name"]: name for name, p in parameters.items()},
    )
    return type(row["name"], (Algorithm,), members)


def _classes() -> Dict[str, Type[Algorithm]]:
    sources = _sources()
    return {row["name"]: _class_of(row, sources) for row in _core.rows()}


CLASSES: Dict[str, Type[Algorithm]] = _classes()


def algorithms() -> List[Type[Algorithm]]:
    """All algorithms, in the order in which a chain would use them."""
    return list(CLASSES.values())


def algorithm(name: str) -> Type[Algorithm]:
    """The algorithm of that name; ``ValueError`` if there is none."""
    if name not in CLASSES:
        raise ParameterError(f"there is no algorithm '{name}'{did_you_mean(name, CLASSES)}")
    return CLASSES[name]
