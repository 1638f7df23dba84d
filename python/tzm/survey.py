"""Surveys on many machines: lanes are tasks of a dask cluster, the image is a Zarr store.

What couples the lanes of a block (a common time zero, the votes on a mesh, the extremes of a normalisation) is found lane
by lane, merged, and given to the round of tasks behind it, so that the image has the bits of `tzm.run`.
"""

from __future__ import annotations

import functools
import json
import os
import shutil
import threading
import warnings
from pathlib import Path
from typing import TYPE_CHECKING, Any, Dict, Iterator, List, NamedTuple, Optional, Sequence, Tuple, Union

import numpy as np

from . import _core
from .chain import Document, _outside, chain_for
from .errors import ChainWarning
from .reading import PathLike, _paths

if TYPE_CHECKING:
    import xarray

_ARRAY = "amplitude"
_DIMENSIONS = ["across", "distance", "time"]
_REPEATED = 12.0  # work per sample that costs less than to write a block and read it again
_BLOCKS = 4  # that a task holds at once, at most


class _Pass(NamedTuple):
    """Steps begin .. end - 1 over all lanes."""

    begin: int
    end: int
    looks: bool  # at the block ahead of step `end`
    keeps: bool  # what it makes
    margin: int  # B-scans on each side that its sums need


class _Piece(NamedTuple):
    """B-scans that a task gives, and those that it reads for them."""

    first: int
    bscans: int
    read_first: int
    read_bscans: int


# ---- where blocks are


@functools.lru_cache(maxsize=4)
def _opened(files: Tuple[str, ...]) -> Tuple[Any, threading.Lock]:
    return _core.open(list(files), False, None, "Ez", False, None), threading.Lock()


def _is_zarr(path: PathLike) -> bool:
    return any(Path(path, name).exists() for name in (".zgroup", ".zarray", ".zmetadata"))


def _zarr_array(folder: str) -> Any:
    import zarr

    node = zarr.open(folder, mode="r")
    if hasattr(node, "shape"):
        return node
    if _ARRAY in node:
        return node[_ARRAY]
    arrays = [array for _, array in node.arrays() if array.ndim == 3]
    if len(arrays) != 1:
        raise ValueError(f"{folder}: a store holds one array of three dimensions, or one named '{_ARRAY}'")
    return arrays[0]


def _read(source: Any, first: int, count: int) -> np.ndarray:
    if isinstance(source, tuple):
        opened, lock = _opened(source)
        with lock:
            return np.asarray(opened.read(first, count).data)
    return np.ascontiguousarray(_zarr_array(source)[first : first + count], dtype=np.float32)


def _about(source: Any) -> Tuple[Tuple[int, int, int], Dict[str, Any]]:
    if isinstance(source, tuple):
        opened, _ = _opened(source)
        return opened.shape, opened.about()
    array = _zarr_array(source)
    if array.ndim != 3 or array.dtype.kind not in "fiub":
        raise ValueError(f"{source}: a block has the axes (across, distance, time) of real numbers")
    fields = {name for name, _ in _core.RECORDING_FIELDS}
    about = {name: value for name, value in array.attrs.asdict().items() if name in fields}
    for flag in ("knows_delta_x", "one_antenna_pair", "backwards"):
        if flag in about:
            about[flag] = bool(about[flag])
    bscans, ascans, samples = array.shape
    return (bscans, ascans, samples), about


def _store(folder: str, shape: Tuple[int, int, int], lane: int) -> Any:
    import zarr

    group = zarr.open_group(folder, mode="w")
    return group.create_dataset(
        _ARRAY, shape=shape, chunks=(lane, shape[1], shape[2]), dtype="f4", fill_value=np.nan
    )


def _finish(folder: str, image: Any, recipe: Dict[str, Any]) -> None:
    """Axes and what is known of the image, in a form that xarray opens."""
    import zarr

    group = zarr.open_group(folder, mode="a")
    array = group[_ARRAY]
    array.attrs["_ARRAY_DIMENSIONS"] = _DIMENSIONS
    for name, value in image.about().items():
        if isinstance(value, (bool, int, float, str)) and value != "" or isinstance(value, list) and value:
            array.attrs[name] = int(value) if isinstance(value, bool) else value
    array.attrs["recipe"] = json.dumps(recipe)
    axes = {"across": (image.across, "m"), "distance": (image.distance, "m"), "time": (image.time, "ns")}
    for name, (places, unit) in axes.items():
        axis = group.create_dataset(name, data=places, fill_value=None, overwrite=True)
        axis.attrs.update(units=unit, _ARRAY_DIMENSIONS=[name])
    extra = {"depth": ("time", image.depth)}
    if image.channels:
        names = np.array([image.channels[i % len(image.channels)] for i in range(image.shape[0])])
        extra["channel"] = ("across", names)
    for name, (dimension, values) in extra.items():
        if values is not None:
            axis = group.create_dataset(name, data=values, fill_value=None, overwrite=True)
            axis.attrs.update(_ARRAY_DIMENSIONS=[dimension], **({"units": "m"} if name == "depth" else {}))
    array.attrs["coordinates"] = " ".join(name for name in extra if name in group)
    zarr.consolidate_metadata(folder)


# ---- what is done where


def _lane_of(bscans: int) -> int:
    return 7 if bscans % 5 != 0 and bscans % 7 == 0 else 5


def _passes(couplings: Sequence[Tuple[str, int, bool, float]]) -> List[_Pass]:
    """A pass ahead of every step that couples the block; where that is expensive, its result is kept."""

    def margin(begin: int, end: int) -> int:
        return sum(beside for scope, beside, _, _ in couplings[begin:end] if scope == "neighbours")

    passes, begin = [], 0
    for i, (_, _, through_findings, _) in enumerate(couplings):
        if not through_findings:
            continue
        keeps = sum(cost for _, _, _, cost in couplings[begin:i]) > _REPEATED
        passes.append(_Pass(begin, i, True, keeps, margin(begin, i)))
        if keeps:
            begin = i
    passes.append(_Pass(begin, len(couplings), False, True, margin(begin, len(couplings))))
    return passes


def _pieces(bscans: int, lanes_per_task: int, margin: int) -> Iterator[_Piece]:
    """Whole lanes, with those beside them that sums across B-scans need."""
    lane = _lane_of(bscans)
    lanes, beside = -(-bscans // lane), -(-margin // lane)
    for first in range(0, lanes, lanes_per_task):
        count = min(lanes_per_task, lanes - first)
        begin, end = max(0, first - beside), min(lanes, first + count + beside)
        while end - begin < min(lanes, 2 * beside + 1):  # a window needs room
            begin, end = (begin - 1, end) if begin > 0 else (begin, end + 1)
        if lane == 7 and (end - begin) % 5 == 0 and end - begin < lanes:  # would pass for lanes of five
            begin, end = (begin - 1, end) if begin > 0 else (begin, end + 1)
        yield _Piece(
            first * lane,
            min((first + count) * lane, bscans) - first * lane,
            begin * lane,
            min(end * lane, bscans) - begin * lane,
        )


@functools.lru_cache(maxsize=2)
def _parts(text: str) -> Any:
    """The chain of a job in this process."""
    job = json.loads(text)
    parts = _core.Parts(job["document"], job["shape"], job["about"], job["config"], job["calibration"])
    for step, findings in job["findings"]:
        parts.put(step, [findings])
    return parts


def _text(
    document: Dict[str, Any],
    shape: Tuple[int, int, int],
    about: Dict[str, Any],
    config: Document,
    calibration: Document,
    findings: Dict[int, str],
) -> str:
    """What every task of a round knows."""
    return json.dumps(
        dict(
            document=document,
            shape=shape,
            about={k: v.tolist() if isinstance(v, np.ndarray) else v for k, v in about.items()},
            config=config,
            calibration=calibration,
            findings=sorted(findings.items()),
        )
    )


def _task(text: str, step: _Pass, source: Any, target: Optional[str], piece: _Piece) -> str:
    """One piece of a pass: gives what was found in it."""
    threads = 0
    try:
        from distributed import get_worker

        threads = get_worker().state.nthreads  # tasks of a process queue up, each takes its threads
    except (ImportError, ValueError):
        pass
    block = _read(source, piece.read_first, piece.read_bscans)
    core = (piece.first - piece.read_first, piece.bscans)
    made, findings = _parts(text).work(step.begin, step.end, block, piece.read_first, core, step.looks, threads)
    if target is not None:
        import zarr

        zarr.open_group(target, mode="r+")[_ARRAY][piece.first : piece.first + piece.bscans] = made
    return findings


def _there(client: Any, text: str, what: Tuple[Any, ...], pieces: List[_Piece]) -> List[str]:
    """All pieces on a cluster, a few per thread at a time: a scheduler bears no million of waiting tasks."""
    from distributed import as_completed

    # What was found in a large survey goes to each worker once; a small text isn't worth losing with a worker.
    known = text if len(text) < 100_000 else client.scatter(text, broadcast=True)
    window = 4 * max(1, sum(client.nthreads().values()))
    found: List[str] = [""] * len(pieces)
    left = iter(range(len(pieces)))
    numbers: Dict[Any, int] = {}

    def submit() -> Any:
        for number in left:
            future = client.submit(_task, known, *what, pieces[number], pure=False)
            numbers[future.key] = number
            return future
        return None

    futures = [future for future in (submit() for _ in range(window)) if future is not None]
    queue = as_completed(futures)
    try:
        for future in queue:
            found[numbers.pop(future.key)] = future.result()
            following = submit()
            if following is not None:
                queue.add(following)
    except BaseException:
        client.cancel(list(queue.futures))
        raise
    return found


def _require_memory(client: Any, shape: Tuple[int, int, int], bscans: int) -> None:
    need = _BLOCKS * bscans * shape[1] * shape[2] * 4
    for name, worker in client.scheduler_info()["workers"].items():
        if worker["memory_limit"] and need > worker["memory_limit"]:
            raise MemoryError(
                f"a task needs {need / 2**20:.0f} MiB for {bscans} B-scans, and worker {name} has "
                f"{worker['memory_limit'] / 2**20:.0f} MiB"
            )


def run(
    inputs: Union[PathLike, Sequence[PathLike]],
    chain: Any = None,
    *,
    output: PathLike,
    client: Any = None,
    lanes_per_task: int = 1,
    config: Document = None,
    calibration: Document = None,
    time_zero: Optional[int] = None,
    permittivity: Optional[float] = None,
    antenna_offset: Optional[float] = None,
    line_spacing: Optional[float] = None,
    background: Optional[str] = None,
    migration: Optional[str] = None,
    frequency: Optional[float] = None,
    preset: Optional[str] = None,
    signed_image: Optional[bool] = None,
) -> "xarray.DataArray":
    """Makes an image of a survey of any size, on a cluster.

    Parameters
    ----------
    inputs : path or sequence of paths
        Files, as of `tzm.open`; or a folder of Zarr with a block (across, distance, time), whose attributes may bear the
        names of a Recording's. Every worker must see them at the same place.
    chain : list, dict, str, path or Chain, optional
        What `Chain` takes; else the standard chain for the recording.
    output : path
        Folder of Zarr that is made, seen by every worker at the same place; one that is there is replaced when the image
        is whole.
    client : distributed.Client, optional
        Whose workers do it; else the current one, if there is one; else this process, lane by lane.
    lanes_per_task : int, optional
        Lanes (5 or 7 B-scans) of a task. A task holds up to four times its lanes in memory.
    config, calibration, time_zero, permittivity, antenna_offset, line_spacing
        As of `Chain.run`.
    background, migration, frequency, preset, signed_image
        As of `tzm.run`.

    Returns
    -------
    xarray.DataArray
        The image, opened lazily; it has the bits of `tzm.run`.

    Raises
    ------
    CalcError, ValueError, FormatError
        As of `tzm.run`.
    MemoryError
        A worker has less memory than a task needs.

    Notes
    -----
    A process runs one task at a time, with as many threads as the worker has: a cluster of one worker per machine needs
    the least memory, one of a worker per core the least waiting. The lanes of a lost worker are computed again.
    """
    import xarray

    if lanes_per_task < 1:
        raise ValueError("lanes_per_task is at least 1")
    if isinstance(inputs, (str, os.PathLike)) and _is_zarr(inputs):
        source: Any = os.path.abspath(inputs)
    else:
        source = tuple(os.path.abspath(path) for path in _paths(inputs))
    shape, about = _about(source)
    target = Path(os.path.abspath(output))
    if isinstance(source, str) and Path(source) == target:
        raise ValueError("the image can't stand where its recording is")
    if client is None:
        client = _current_client()
    chosen = chain_for(
        _core.about_of(shape, about),
        chain,
        time_zero,
        line_spacing,
        background=background,
        migration=migration,
        frequency=frequency,
        preset=preset,
        signed_image=signed_image,
    )
    document, about, notes = _core.settled(
        list(chosen), shape, about, config, calibration, time_zero, permittivity, antenna_offset, line_spacing
    )
    for line in notes:
        warnings.warn(line, ChainWarning, stacklevel=_outside())
    parts = _core.Parts(document, shape, about, config, calibration)
    couplings = parts.couplings()
    lane = _lane_of(shape[0])
    if shape[0] == 1:
        raise ValueError("a single B-scan has no lanes to share: use tzm.run")
    work = Path(f"{target}.part")
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    findings: Dict[int, str] = {}
    place = source
    try:
        for number, step in enumerate(_passes(couplings)):
            last = step.end == len(couplings)
            store = str(work / ("image" if last else f"pass{number}")) if step.keeps else None
            if store:
                _store(store, parts.about(step.end).shape, lane * lanes_per_task)
            pieces = list(_pieces(shape[0], lanes_per_task, step.margin))
            if client is not None:
                _require_memory(client, shape, max(piece.read_bscans for piece in pieces))
            text = _text(document, shape, about, config, calibration, findings)
            if client is None:
                found = [_task(text, step, place, store, piece) for piece in pieces]
            else:
                found = _there(client, text, (step, place, store), pieces)
            if step.looks:
                parts.put(step.end, found)
                findings[step.end] = parts.found(step.end)
            if store:
                if place != source:
                    shutil.rmtree(place)
                place = store
        _finish(str(work / "image"), parts.about(len(couplings)), {"chain": document["chain"], "warnings": notes})
        shutil.rmtree(target, ignore_errors=True)
        os.replace(work / "image", target)
    finally:
        shutil.rmtree(work, ignore_errors=True)
    return xarray.open_zarr(str(target), consolidated=True)[_ARRAY]


def _current_client() -> Any:
    try:
        from distributed import get_client

        return get_client()
    except (ImportError, ValueError):
        return None
