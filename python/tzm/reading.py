"""Recordings from files of every known form."""

from __future__ import annotations

import glob
import os
from pathlib import Path
from typing import Any, Dict, List, Optional, Sequence, Union

from . import _core
from .errors import MissingFileError
from .names import did_you_mean

PathLike = Union[str, "os.PathLike[str]"]


def _paths(inputs: Union[PathLike, Sequence[PathLike]]) -> List[str]:
    paths = [inputs] if isinstance(inputs, (str, os.PathLike)) else list(inputs)
    texts = [os.fspath(path) for path in paths]
    if not texts:
        raise ValueError("no file is named")
    for text in texts:
        if not isinstance(text, str):
            raise TypeError(f"a file is named by a str or a path, not {text!r}")
        if "\0" in text:
            raise ValueError("a file's name holds no NUL")
        if not Path(text).exists() and not glob.has_magic(text):
            raise MissingFileError(f"{text}: there is no such file")
    return texts


def open(  # noqa: A001 - it opens
    inputs: Union[PathLike, Sequence[PathLike]],
    *,
    keep_marks: bool = False,
    interval_unit: Optional[float] = None,
    component: str = "Ez",
    resample: bool = False,
    delta_x: Optional[float] = None,
) -> "_core.Source":
    """Opens recordings without reading their samples.

    Parameters
    ----------
    inputs : path or sequence of paths
        Files; a folder, whose recordings are taken in the order of their names; a pattern with ``*`` and ``?``; or a
        survey document. Several files are lines of one recording, each a lane, or channels of one lane.
    keep_marks : bool, optional
        Words at the head of A-scans that are marks stay where they are.
    interval_unit : float, optional
        Seconds, of the interval of samples in a form that doesn't tell its unit.
    component : str, optional
        Of the field, in a form that holds several.
    resample : bool, optional
        Files of several intervals are brought to the finest.
    delta_x : float, optional
        Metres to which A-scans are resampled along the scan.

    Returns
    -------
    Source
        With ``shape``, ``about()`` and ``read(first, count, step)``.

    Raises
    ------
    FormatError
        No such file, one of no known form, and every flaw of one.
    """
    return _core.open(_paths(inputs), keep_marks, interval_unit, component, resample, delta_x)


def channel_index(channels: Sequence[str], channel: Union[int, str], bscans: int) -> int:
    """Which channel a name or a number means."""
    count = channel_count(channels, bscans)
    if isinstance(channel, str):
        if channel not in channels:
            raise ValueError(f"there is no channel '{channel}'{did_you_mean(channel, channels)}")
        return list(channels).index(channel)
    if not -count <= channel < count:
        raise IndexError(f"channel {channel}: there are {count}")
    return int(channel) % count


def channel_count(channels: Sequence[str], bscans: int) -> int:
    """Channels of a recording: those that it names, else 5 or 7 where they divide its B-scans, else 1."""
    return len(channels) or (5 if bscans % 5 == 0 else 7 if bscans % 7 == 0 else 1)


def read(
    inputs: Union[PathLike, Sequence[PathLike]],
    *,
    channel: Union[None, int, str] = None,
    keep_marks: bool = False,
    interval_unit: Optional[float] = None,
    component: str = "Ez",
    resample: bool = False,
    delta_x: Optional[float] = None,
) -> "_core.Recording":
    """Reads a recording of any known form.

    Parameters
    ----------
    inputs : path or sequence of paths
        As of `open`.
    channel : int or str, optional
        One channel alone, by its number from 0 or by its name.
    keep_marks, interval_unit, component, resample, delta_x
        As of `open`.

    Returns
    -------
    Recording

    Raises
    ------
    FormatError
        No such file, one of no known form, and every flaw of one.
    MemoryError
        The samples don't fit into memory.
    """
    source = open(
        inputs,
        keep_marks=keep_marks,
        interval_unit=interval_unit,
        component=component,
        resample=resample,
        delta_x=delta_x,
    )
    if channel is None:
        return source.read()
    channels, bscans = source.about()["channels"], source.shape[0]
    return source.read(channel_index(channels, channel, bscans), None, channel_count(channels, bscans))


def formats() -> List[Dict[str, Any]]:
    """The forms in which recordings come: name, files, extensions, and whether they are written, too.

    VTK images join them where this build has them; the library that reads them is loaded when one is first named.
    """
    return list(_core.formats())
