"""Chains of algorithms, and their runs."""

from __future__ import annotations

import json
import logging
import os
import sys
import warnings
from pathlib import Path
from typing import Any, Callable, Dict, Iterable, Iterator, List, Mapping, Optional, Tuple, Union, overload

from . import _core
from .algorithms import Algorithm, algorithm
from .errors import ChainWarning
from .reading import read

Document = Union[None, str, Mapping[str, Any]]
Progress = Union[None, bool, Callable[[str, float], Any]]

_log = logging.getLogger("tzm")


def _step(entry: Any) -> Algorithm:
    if isinstance(entry, Algorithm):
        return entry
    if isinstance(entry, type) and issubclass(entry, Algorithm):
        return entry()
    if isinstance(entry, str):
        return algorithm(entry)()
    if isinstance(entry, Mapping):
        unknown = set(entry) - {"algorithm", "parameters"}
        if unknown or not isinstance(entry.get("algorithm"), str):
            raise ValueError(f"a step is {{'algorithm': name, 'parameters': {{...}}}}, not {dict(entry)!r}")
        parameters = entry.get("parameters")
        if parameters is not None and not isinstance(parameters, Mapping):
            raise ValueError(f"{entry['algorithm']}: 'parameters' must be a dictionary")
        return algorithm(entry["algorithm"])(**(parameters or {}))
    if isinstance(entry, tuple) and len(entry) == 2 and isinstance(entry[0], str) and isinstance(entry[1], Mapping):
        return algorithm(entry[0])(**entry[1])
    raise ValueError(f"a step is an algorithm, its name, a pair of name and parameters, or a dictionary, not {entry!r}")


def _entries(given: Any) -> Iterable[Any]:
    if isinstance(given, Chain):
        return given._steps
    if isinstance(given, Algorithm):
        return [given]
    if isinstance(given, (str, os.PathLike)):
        text, name = os.fspath(given), "chain"
        if not text.lstrip().startswith(("{", "[")):
            name, text = text, Path(text).read_text(encoding="utf-8")
        given = _core.parse_json(text, name)
    if isinstance(given, Mapping):
        entries = given.get("chain")
        if not isinstance(entries, (list, tuple)):
            raise ValueError('a chain document needs a member "chain", a list of algorithms')
        steps = [_step(entry) for entry in entries]  # tells what a wrong name may have meant
        _core.validate_chain({**given, "chain": [_document_of(step) for step in steps]})
        return steps
    if isinstance(given, Iterable):
        return given
    raise ValueError(f"a chain comes from a list, a dictionary, JSON or a file, not from {given!r}")


def _document_of(step: Algorithm) -> Dict[str, Any]:
    given = sorted(step._given())
    return {"algorithm": step.name, "parameters": {name: step._get(name) for name in given}}


class Chain:
    """Algorithms in the order of their work.

    Parameters
    ----------
    steps : list, dict, str or path
        Algorithms, their names, pairs of name and parameters, or dictionaries ``{"algorithm": .., "parameters": ..}``;
        a document ``{"chain": [...]}``, as a dictionary or as JSON; or a file that holds one, such as the recipe of a
        run.

    Examples
    --------
    >>> chain = tzm.Chain(["OffsetRemoval", tzm.FkMigration(time_zero=40), ("DepthGaining", {"end_gain": 4})])
    >>> image = chain.run(recording, permittivity=6.5)
    """

    def __init__(self, steps: Any = ()) -> None:
        self._steps: List[Algorithm] = [_step(entry) for entry in _entries(steps)]

    @classmethod
    def standard(
        cls,
        recording: "_core.Recording",
        *,
        background: Optional[str] = None,
        migration: Optional[str] = None,
        time_zero: Optional[int] = None,
        frequency: Optional[float] = None,
        preset: Optional[str] = None,
        signed_image: Optional[bool] = None,
        line_spacing: Optional[float] = None,
    ) -> "Chain":
        """The chain that brings a recording from its counts to an image.

        Parameters
        ----------
        recording : Recording
            What it tells of channels and time zero decides on the steps.
        background : str, optional
            Procedure of the background removal; else the chain's own.
        migration : str, optional
            Name of the algorithm; else ArrayMigration for an array whose lines lie a known distance apart, FkMigration
            for all others.
        time_zero : int, optional
            Sample of time zero, if the recording doesn't tell.
        frequency : float, optional
            Nominal one of the antenna in MHz; else that of the channels' names, else the preset's.
        preset : str, optional
            What is in the ground, one of `presets`: adds filters, a sliding background and a gain for it.
        signed_image : bool, optional
            Reflectors keep the signs of their wavelets, no envelope is taken; else the preset's choice.
        line_spacing : float, optional
            Metres between neighbouring lines, if the recording doesn't tell.
        """
        if migration is not None:
            algorithm(migration)
        return cls(
            _core.standard_chain(
                recording, background, migration, time_zero, frequency, preset, signed_image, line_spacing
            )
        )

    def run(
        self,
        recording: Any,
        *,
        config: Document = None,
        calibration: Document = None,
        time_zero: Optional[int] = None,
        permittivity: Optional[float] = None,
        antenna_offset: Optional[float] = None,
        line_spacing: Optional[float] = None,
        threads: int = 0,
        progress: Progress = None,
    ) -> "_core.Recording":
        """Runs the steps one after the other.

        Parameters
        ----------
        recording : Recording, array_like or path
            It isn't changed.
        config, calibration : dict or str, optional
            Documents of the run. The configuration's keys go over the parameters.
        time_zero : int, optional
            Sample of time zero, for all steps that need it.
        permittivity : float, optional
            Relative permittivity of the ground, for all steps.
        antenna_offset : float, optional
            Metres from transmitter to receiver of a bistatic channel, for all steps.
        line_spacing : float, optional
            Metres between neighbouring lines, for all steps.
        threads : int, optional
            0: as many as OpenMP takes.
        progress : bool or callable, optional
            True: a bar, where tqdm is installed; None: the same in a terminal or a notebook. A function gets the name
            of the step and the part of it that is done, 0 to 1; if it gives False, the run ends with `Cancelled`.

        Returns
        -------
        Recording
            The image. ``image.recipe`` tells how it came about, ``image.report`` what the run told.

        Raises
        ------
        CalcError
            A step can't work on such a block.
        ValueError
            The recording, the image or a document isn't one that can be used; a NaN tells where.
        MemoryError
            A block doesn't fit into memory.

        Notes
        -----
        What nobody told of time zero, permittivity, antenna offset and line spacing comes from the recording, else from
        the algorithms' defaults, of which a `ChainWarning` tells. Ctrl-C ends a run. The interpreter isn't held meanwhile;
        documents and intervals belong to the process, however, so that runs of two threads queue up.
        """
        if not self._steps:
            raise ValueError("the chain has no steps")
        block = as_recording(recording)
        with _Bar(progress, self._steps) as tell:
            image = _core.run_chain(
                self._steps,
                block,
                config,
                calibration,
                time_zero,
                permittivity,
                antenna_offset,
                line_spacing,
                threads,
                tell,
            )
        for line in image.report:
            if line.startswith("warning: "):
                warnings.warn(line[len("warning: ") :], ChainWarning, stacklevel=_outside())
            else:
                _log.info("%s", line)
        return image

    def document(self) -> Dict[str, Any]:
        """The chain as a document that holds what was set; `Chain` reads it again."""
        return {"chain": [_document_of(step) for step in self._steps]}

    def to_json(self) -> str:
        """The document as text."""
        return json.dumps(self.document(), indent=2)

    def append(self, step: Any) -> "Chain":
        """Adds a step, and gives the chain itself."""
        self._steps.append(_step(step))
        return self

    def __len__(self) -> int:
        return len(self._steps)

    def __iter__(self) -> Iterator[Algorithm]:
        return iter(self._steps)

    @overload
    def __getitem__(self, index: int) -> Algorithm: ...

    @overload
    def __getitem__(self, index: slice) -> "Chain": ...

    def __getitem__(self, index: Any) -> Any:
        return Chain(self._steps[index]) if isinstance(index, slice) else self._steps[index]

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Chain) and self._steps == other._steps

    __hash__ = None  # type: ignore[assignment]

    def __repr__(self) -> str:
        return f"Chain([{', '.join(map(repr, self._steps))}])"


def as_recording(block: Any) -> "_core.Recording":
    """A recording, an array as one, or a file read."""
    if isinstance(block, _core.Recording):
        return block
    if isinstance(block, (str, os.PathLike)):
        return read(block)
    return _core.Recording(block)


def chain_for(
    recording: "_core.Recording",
    chain: Any,
    time_zero: Optional[int],
    line_spacing: Optional[float],
    **choice: Any,
) -> Chain:
    """The chain that is given, else the standard one of that choice."""
    if chain is None:
        return Chain.standard(recording, time_zero=time_zero, line_spacing=line_spacing, **choice)
    given = [name for name, value in choice.items() if value is not None]
    if given:
        raise ValueError(f"{given[0]} chooses within the standard chain, and another chain is given")
    return Chain(chain)


def presets() -> Dict[str, str]:
    """What `Chain.standard` has a preset for, by its name."""
    return dict(_core.PRESETS)


def _outside() -> int:
    """Frames from here to the first one outside this package, so that a warning shows the caller's line."""
    frame, depth = sys._getframe(1), 1
    while frame is not None and frame.f_globals.get("__package__") == __package__:
        frame, depth = frame.f_back, depth + 1  # type: ignore[assignment]
    return depth


class _Bar:
    """Progress of a run, for those who want to see it."""

    def __init__(self, progress: Progress, steps: List[Algorithm]) -> None:
        self.names = [step.name for step in steps]
        self.told = progress if callable(progress) else None
        self.bar: Any = None
        wanted = sys.stderr is not None and sys.stderr.isatty() or "ipykernel" in sys.modules
        if progress is True or (progress is None and wanted):
            try:
                from tqdm import tqdm
            except ImportError:
                return
            self.bar = tqdm(total=float(len(steps)), delay=0.5, leave=False, bar_format="{desc}{percentage:3.0f}%|{bar}| {elapsed}")

    def __enter__(self) -> Optional[Callable[[int, float], Any]]:
        return self.tell if self.told or self.bar is not None else None

    def tell(self, step: int, fraction: float) -> Any:
        if self.told:
            return self.told(self.names[step], fraction)
        self.bar.set_description(self.names[step], refresh=False)
        self.bar.update(step + fraction - self.bar.n)
        return True

    def __exit__(self, *_: Any) -> None:
        if self.bar is not None:
            self.bar.close()


def run(
    recording: Any,
    chain: Any = None,
    *,
    background: Optional[str] = None,
    migration: Optional[str] = None,
    frequency: Optional[float] = None,
    preset: Optional[str] = None,
    signed_image: Optional[bool] = None,
    time_zero: Optional[int] = None,
    line_spacing: Optional[float] = None,
    **options: Any,
) -> "_core.Recording":
    """Makes an image of a recording: `Chain.run` of the standard chain for it, or of another one.

    Parameters
    ----------
    recording : Recording, array_like or path
        It isn't changed.
    chain : list, dict, str, path or Chain, optional
        What `Chain` takes; else the standard chain.
    background, migration, frequency, preset, signed_image
        Of the standard chain, see `Chain.standard`.
    time_zero : int, optional
        Sample of time zero.
    line_spacing : float, optional
        Metres between neighbouring lines.
    **options
        ``permittivity``, ``antenna_offset``, ``config``, ``calibration``, ``threads``, ``progress``: see `Chain.run`.

    Returns
    -------
    Recording
        The image.

    Examples
    --------
    >>> image = tzm.run("survey.DZT", permittivity=6.5)
    >>> image.plot(channel=0)
    """
    block = as_recording(recording)
    chosen = chain_for(
        block,
        chain,
        time_zero,
        line_spacing,
        background=background,
        migration=migration,
        frequency=frequency,
        preset=preset,
        signed_image=signed_image,
    )
    return chosen.run(block, time_zero=time_zero, line_spacing=line_spacing, **options)
