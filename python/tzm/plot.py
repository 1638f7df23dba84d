"""Pictures of recordings and images with matplotlib, in the colours of the program tzmchain."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, List, Optional, Sequence, Tuple, Union

import numpy as np

from . import _core
from .reading import channel_count, channel_index
from .recording import Recording, extend

if TYPE_CHECKING:
    from matplotlib.axes import Axes

_ENOUGH = 500_000  # values that settle a percentile


def colour_range(values: np.ndarray, percentile: Optional[float] = None) -> Tuple[float, float, bool]:
    """Range of values that gets the whole scale of colours, and whether they are signed.

    Signed values are clipped at a percentile (97) of their distance from the median, others at one (99.5) of
    themselves, so that a few strong ones don't darken the rest.
    """
    flat = np.asarray(values).ravel()
    flat = flat[:: max(1, -(-flat.size // _ENOUGH))]
    flat = flat[np.isfinite(flat)]
    if flat.size == 0:
        return 0.0, 1.0, False
    if flat.min() >= -1e-6 * flat.max():  # rounding leaves a normalised image a hair below 0
        return 0.0, float(np.percentile(flat, 99.5 if percentile is None else percentile)) or 1.0, False
    middle = float(np.median(flat))
    reach = float(np.percentile(np.abs(flat - middle), 97 if percentile is None else percentile)) or 1.0
    return middle - reach, middle + reach, True


def colour_map(name: str) -> Any:
    """A colour map of the program: ``"grey"``, ``"seismic"`` or ``"heat"``."""
    from matplotlib.colors import LinearSegmentedColormap

    if name not in _core.COLOURS:
        raise ValueError(f"colours are {', '.join(_core.COLOURS)}, not {name!r}")
    return LinearSegmentedColormap.from_list(f"tzm-{name}", _core.COLOURS[name])


def _axes(ax: Optional["Axes"], size: Tuple[float, float]) -> "Axes":
    if ax is not None:
        return ax
    import matplotlib.pyplot as plt

    return plt.subplots(figsize=size, layout="constrained")[1]


def _ends(places: np.ndarray, step: float) -> Tuple[float, float]:
    return float(places[0]) - step / 2, float(places[-1]) + step / 2


def _image(
    ax: "Axes", values: np.ndarray, extent: Sequence[float], colours: str, percentile: Optional[float], decibels: float
) -> Any:
    """Draws values, rows downwards."""
    low, high, signed = colour_range(values, percentile)
    if decibels > 0 and not signed:
        values = 20 * np.log10(np.maximum(values, high * 10 ** (-decibels / 20)) / high)
        low, high = -decibels, 0
    return ax.imshow(
        values,
        cmap=colour_map(colours if signed else "heat"),
        vmin=low,
        vmax=high,
        extent=extent,
        aspect="auto",
        interpolation="nearest",
    )


def _scale(rec: "Recording", places: str) -> Tuple[float, float]:
    step = {"distance": rec.delta_x, "time": rec.delta_t / 1e-9, "across": rec.line_spacing or 1}[places]
    return _ends(getattr(rec, places), step)


def _time_axis(ax: "Axes", rec: "Recording") -> None:
    ax.set_ylabel("two-way time after time zero (ns)" if rec.time_zero is not None else "two-way time (ns)")
    if rec.time_zero is not None and rec.time[0] < 0:
        ax.axhline(0, color=(0.85, 0.3, 0), linestyle="--", linewidth=1)


def _depth_axis(ax: "Axes", rec: "Recording") -> None:
    if rec.depth is None or rec.shape[2] < 2:
        return
    per_ns = (rec.depth[1] - rec.depth[0]) / (rec.time[1] - rec.time[0])
    second = ax.secondary_yaxis("right", functions=(lambda t: t * per_ns, lambda d: d / per_ns))
    second.set_ylabel(f"depth (m) at permittivity {rec.permittivity:.4g}")


def _across_label(rec: "Recording") -> str:
    return "across (m)" if rec.line_spacing else "B-scan"


class DepthSlice:
    """A slab of an image from above.

    Attributes
    ----------
    data : numpy.ndarray
        Of shape (bscans, ascans): of a single sample its values, of a thicker slab the mean of the magnitudes.
    recording : Recording
        The image.
    samples : range
        Samples of the slab.
    """

    def __init__(self, recording: "Recording", samples: range) -> None:
        self.recording = recording
        self.samples = samples
        block = recording.data[:, :, samples.start : samples.stop]
        self.data: np.ndarray = block[:, :, 0].copy() if len(samples) == 1 else np.abs(block).mean(2)

    @property
    def title(self) -> str:
        """Where the slab lies."""
        rec, ends = self.recording, (self.samples.start, self.samples.stop - 1)
        places, unit = (rec.depth, "m") if rec.depth is not None else (rec.time, "ns")
        texts = [f"{places[i]:.3g}" for i in ends]
        return f"{texts[0] if ends[0] == ends[1] else ' to '.join(texts)} {unit}"

    def plot(
        self,
        ax: Optional["Axes"] = None,
        *,
        colours: str = "grey",
        percentile: Optional[float] = None,
        decibels: float = 0,
    ) -> "Axes":
        """Draws the slab; gives the axes. Parameters as of `Recording.plot`."""
        rec = self.recording
        ax = _axes(ax, (9, 4.5))
        left, right = _scale(rec, "distance")
        top, bottom = _scale(rec, "across")
        _image(ax, self.data, (left, right, bottom, top), colours, percentile, decibels)
        if rec.line_spacing:
            ax.set_aspect("equal")
        ax.set_xlabel("distance (m)")
        ax.set_ylabel(_across_label(rec))
        ax.set_title(self.title)
        return ax

    def __repr__(self) -> str:
        return f"<tzm.DepthSlice at {self.title}, {self.data.shape[0]} x {self.data.shape[1]} (bscans, ascans)>"


def _nearest(places: np.ndarray, place: float) -> int:
    return int(np.argmin(np.abs(places - place)))


class _Methods(_core.Recording):
    def slice(
        self,
        *,
        depth: Optional[float] = None,
        time: Optional[float] = None,
        sample: Optional[int] = None,
        thickness: Optional[float] = None,
    ) -> DepthSlice:
        """A slab from above.

        Parameters
        ----------
        depth : float
            Metres; time zero and permittivity must be known.
        time : float
            Nanoseconds of two-way time, in place of a depth.
        sample : int
            Its number, in place of a depth.
        thickness : float, optional
            Of the slab, in the unit of the place; one sample if it isn't told.

        Returns
        -------
        DepthSlice
            With ``data`` and ``plot()``.
        """
        if [depth, time, sample].count(None) != 2:
            raise ValueError("a slice is told by one of depth, time and sample")
        if sample is not None:
            places, place = np.arange(self.shape[2], dtype=float), float(sample)
        elif time is not None:
            places, place = self.time, float(time)
        elif depth is not None and self.depth is not None:
            places, place = self.depth, float(depth)
        else:
            raise ValueError("a depth needs time_zero and permittivity of the recording")
        step = places[1] - places[0] if len(places) > 1 else 1
        if not places[0] - step / 2 <= place <= places[-1] + step / 2:
            raise ValueError(f"the slice must lie between {places[0]:.4g} and {places[-1]:.4g}, not at {place:.4g}")
        half = 0 if thickness is None else thickness / 2
        first, last = _nearest(places, place - half), _nearest(places, place + half)
        return DepthSlice(self, range(first, last + 1))

    def _bscan_index(self, bscan: Optional[int], channel: Union[None, int, str]) -> int:
        count = self.shape[0]
        if bscan is not None:
            if channel is not None:
                raise ValueError("either a B-scan or a channel is drawn")
            if not -count <= bscan < count:
                raise IndexError(f"B-scan {bscan}: there are {count}")
            return bscan % count
        channels = channel_count(self.channels, count)
        return count // channels // 2 * channels + channel_index(self.channels, channel or 0, count)

    def plot(
        self,
        channel: Union[None, int, str] = None,
        *,
        bscan: Optional[int] = None,
        ax: Optional["Axes"] = None,
        colours: str = "grey",
        percentile: Optional[float] = None,
        decibels: float = 0,
    ) -> "Axes":
        """Draws a B-scan over distance and time, with its depths where they are known.

        Parameters
        ----------
        channel : int or str, optional
            Its number or name: its B-scan in the middle of the block is drawn.
        bscan : int, optional
            A B-scan by its number, in place of a channel.
        ax : matplotlib.axes.Axes, optional
            Where to draw; else in a new figure.
        colours : {"grey", "seismic"}, optional
            Of signed values; others always get a sequential map.
        percentile : float, optional
            Where the colours are clipped: 97 of the distance from the median of signed values, 99.5 of others.
        decibels : float, optional
            Range of a logarithmic scale, for values that are never negative; 0: a linear one.

        Returns
        -------
        matplotlib.axes.Axes
        """
        index = self._bscan_index(bscan, channel)
        ax = _axes(ax, (10, 4.5))
        left, right = _scale(self, "distance")
        top, bottom = _scale(self, "time")
        _image(ax, self.data[index].T, (left, right, bottom, top), colours, percentile, decibels)
        ax.set_xlabel("distance (m)")
        _time_axis(ax, self)
        _depth_axis(ax, self)
        name = f"{self.channels[index % len(self.channels)]}, " if self.channels else ""
        ax.set_title(f"{name}B-scan {index + 1} of {self.shape[0]}")
        return ax

    def plot_slices(
        self,
        *,
        distance: Optional[float] = None,
        across: Optional[float] = None,
        time: Optional[float] = None,
        figure: Any = None,
        colours: str = "grey",
        percentile: Optional[float] = None,
        decibels: float = 0,
    ) -> List["Axes"]:
        """Draws three linked sections through one point: from above, along the scan, across the lines.

        Parameters
        ----------
        distance, across, time : float, optional
            The point, in the units of the axes; else the middle. A click into a section moves it.
        figure : matplotlib.figure.Figure, optional
            Where to draw; else in a new one.
        colours, percentile, decibels
            As of `plot`.

        Returns
        -------
        list of matplotlib.axes.Axes
            From above, along, across.
        """
        import matplotlib.pyplot as plt

        figure = figure or plt.figure(figsize=(11, 7), layout="constrained")
        grid = figure.add_gridspec(2, 2, width_ratios=(2.4, 1), height_ratios=(1, 1.6))
        along = figure.add_subplot(grid[1, 0])
        above = figure.add_subplot(grid[0, 0], sharex=along)
        section = figure.add_subplot(grid[1, 1], sharey=along)
        axes = [above, along, section]
        x, y, t = _scale(self, "distance"), _scale(self, "across"), _scale(self, "time")
        point = [
            float(np.mean(x)) if distance is None else distance,
            float(np.mean(y)) if across is None else across,
            float(np.mean(t)) if time is None else time,
        ]

        def draw() -> None:
            i, z, s = _nearest(self.distance, point[0]), _nearest(self.across, point[1]), _nearest(self.time, point[2])
            for ax in axes:
                ax.clear()
            _image(above, self.data[:, :, s], (*x, y[1], y[0]), colours, percentile, decibels)
            _image(along, self.data[z].T, (*x, t[1], t[0]), colours, percentile, decibels)
            _image(section, self.data[:, i].T, (*y, t[1], t[0]), colours, percentile, decibels)
            for ax, column, row in ((above, 0, 1), (along, 0, 2), (section, 1, 2)):
                ax.axvline(point[column], color="tab:cyan", linewidth=0.8)
                ax.axhline(point[row], color="tab:cyan", linewidth=0.8)
            above.set_title(f"at {DepthSlice(self, range(s, s + 1)).title}")
            above.set_ylabel(_across_label(self))
            along.set_xlabel("distance (m)")
            _time_axis(along, self)
            section.set_xlabel(_across_label(self))
            _depth_axis(section, self)

        def clicked(event: Any) -> None:
            places = {id(above): (0, 1), id(along): (0, 2), id(section): (1, 2)}.get(id(event.inaxes))
            if places and event.button == 1:
                point[places[0]], point[places[1]] = event.xdata, event.ydata
                draw()
                figure.canvas.draw_idle()

        draw()
        figure.canvas.mpl_connect("button_press_event", clicked)
        return axes


extend(_Methods)
