"""What a Recording offers beyond its samples: axes, parts, pictures, other forms."""

from __future__ import annotations

import os
from typing import TYPE_CHECKING, Any, Dict, Optional, Union

import numpy as np

from . import _core
from .names import did_you_mean
from .reading import channel_count, channel_index

if TYPE_CHECKING:
    import xarray

Recording = _core.Recording

_SPEED = 3e8  # m/s
_NANOSECOND = 1e-9


class _Methods(_core.Recording):
    """Methods that `Recording` gets from here."""

    def __repr__(self) -> str:
        b, a, s = self.shape
        name = f', "{os.path.basename(self.file)}"' if self.file else ""
        return (
            f"<tzm.Recording of {b} x {a} x {s} (bscans, ascans, samples), "
            f"{self.delta_t / _NANOSECOND:.4g} ns, {self.delta_x:.4g} m{name}>"
        )

    def __array__(self, dtype: Any = None) -> np.ndarray:
        return np.asarray(self.data, dtype=dtype)

    def __len__(self) -> int:
        return self.shape[0]

    def __getattr__(self, name: str) -> Any:
        known = [] if name.startswith("_") else [n for n in dir(type(self)) if not n.startswith("_")]
        raise AttributeError(f"'Recording' has no attribute '{name}'{did_you_mean(name, known)}")

    def __reduce__(self) -> Any:
        return _rebuilt, (np.asarray(self.data), self.about())

    @property
    def time(self) -> np.ndarray:
        """Two-way time of each sample in ns, from time zero on where that is known."""
        first = self.first_time if self.time_zero is None else -self.time_zero * self.delta_t
        return (first + np.arange(self.shape[2]) * self.delta_t) / _NANOSECOND

    @property
    def depth(self) -> Optional[np.ndarray]:
        """Depth of each sample in m; None unless time zero and permittivity are known."""
        if self.time_zero is None or self.permittivity is None:
            return None
        return self.time * _NANOSECOND * _SPEED / np.sqrt(self.permittivity) / 2

    @property
    def distance(self) -> np.ndarray:
        """Place of each A-scan along the scan in m."""
        return self.start_x + np.arange(self.shape[1]) * self.delta_x

    @property
    def across(self) -> np.ndarray:
        """Place of each B-scan across the scan in m; its number from 0 on where the spacing isn't known."""
        return np.arange(self.shape[0]) * (self.line_spacing or 1)

    def channel(self, channel: Union[int, str]) -> "_core.Recording":
        """The B-scans of one channel, by its number from 0 or by its name."""
        count = channel_count(self.channels, self.shape[0])
        first = channel_index(self.channels, channel, self.shape[0])
        return _core.part(self, first, (self.shape[0] - first + count - 1) // count, count)

    def bscans(self, first: int, count: int) -> "_core.Recording":
        """A run of neighbouring B-scans, as a view of the same memory."""
        return _core.part(self, first, count, 1)

    def write(self, file: Union[str, "os.PathLike[str]"]) -> None:
        """Writes the recording in the form that the extension names: ``.f32``, ``.sgy``, ``.h5``, ``.vti``."""
        _core.write(self, os.fspath(file))

    def to_vti(self, file: Union[str, "os.PathLike[str]"]) -> None:
        """Writes a VTK image, the name of which ends in ``.vti``; needs a build with VTK."""
        if not os.fspath(file).lower().endswith(".vti"):
            raise ValueError("the name of a VTK image ends in .vti")
        _core.write(self, os.fspath(file))

    def to_xarray(self) -> "xarray.DataArray":
        """The samples as an ``xarray.DataArray`` over the same memory.

        Returns
        -------
        xarray.DataArray
            Dimensions ``across``, ``distance`` (m) and ``time`` (ns); where they are known a coordinate ``depth`` (m)
            along ``time`` and one ``channel`` along ``across``. What else is known stands in ``attrs``.
        """
        import xarray

        coords: Dict[str, Any] = {
            "across": ("across", self.across, {"units": "m"} if self.line_spacing else {"long_name": "B-scan"}),
            "distance": ("distance", self.distance, {"units": "m", "long_name": "distance along the scan"}),
            "time": ("time", self.time, {"units": "ns", "long_name": "two-way time"}),
        }
        if self.depth is not None:
            coords["depth"] = ("time", self.depth, {"units": "m"})
        if self.channels:
            names = [self.channels[i % len(self.channels)] for i in range(self.shape[0])]
            coords["channel"] = ("across", names, {})
        attrs = {k: v for k, v in self.about().items() if isinstance(v, (bool, int, float, str)) and v != ""}
        attrs = {k: int(v) if isinstance(v, bool) else v for k, v in attrs.items()}  # netCDF has no booleans
        return xarray.DataArray(
            self.data, dims=("across", "distance", "time"), coords=coords, name="amplitude", attrs=attrs
        )


def _rebuilt(data: np.ndarray, about: Dict[str, Any]) -> "_core.Recording":
    fields: Dict[str, Any] = {k: v for k, v in about.items() if not (isinstance(v, list) and not v)}
    recording = _core.Recording(data, **fields)
    recording.knows_delta_x = about["knows_delta_x"]
    return recording


def extend(methods: type) -> None:
    """Gives `Recording` the methods of a class."""
    for name, member in vars(methods).items():
        if callable(member) or isinstance(member, property):
            setattr(Recording, name, member)


extend(_Methods)
_fields = "\n".join(f"{name} : {meaning.split(':')[0]}, optional\n    {meaning.split(': ', 1)[1]}"
                    for name, meaning in _core.RECORDING_FIELDS)
Recording.__module__ = __package__
Recording.__doc__ = f"""A block of samples and what places it in time and space.

Parameters
----------
data : array_like
    Samples of shape (bscans, ascans, samples), or (ascans, samples) of a single B-scan. An array of 32-bit floats in C
    order isn't copied: the recording is a view of it. Another one is converted, once.
{_fields}

Attributes
----------
data : numpy.ndarray
    The samples, of shape (bscans, ascans, samples): a view, which keeps the memory alive when the recording is gone.
time, depth, distance, across : numpy.ndarray
    The axes, in ns and m.
"""
