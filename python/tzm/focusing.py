"""The permittivity with which what is recorded focuses."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Callable, Dict, List, NamedTuple, Optional

import numpy as np

from . import _core
from .chain import as_recording

if TYPE_CHECKING:
    from matplotlib.axes import Axes


class Focus(NamedTuple):
    """What `focus` finds.

    Attributes
    ----------
    verdict : {"found", "ambiguous", "nothing"}
        One value focuses; two do, of which the stronger one is given; none does, and there is no number.
    reason : str
        Why there is no number, or what makes it doubtful.
    permittivity, error : float or None
        Relative permittivity of the ground, and its standard deviation.
    other : float or None
        The second answer of an ambiguous recording.
    by_entropy : float or None
        Where a second opinion has its peak.
    contrast, chance : float
        What the peak stands out by, and what one of the record played backwards does, where nothing can focus.
    time_zero : float
        Sample that was taken.
    curve : numpy.ndarray
        Of shape (count, 3): permittivity, focus, second opinion.
    windows : list of dict
        Parts of the image that were looked at, with their weights.
    """

    verdict: str
    reason: str
    permittivity: Optional[float]
    error: Optional[float]
    other: Optional[float]
    by_entropy: Optional[float]
    contrast: float
    chance: float
    time_zero: float
    curve: np.ndarray
    windows: List[Dict[str, Any]]

    def plot(self, ax: Optional["Axes"] = None) -> "Axes":
        """Draws the focus over the permittivity; gives the axes."""
        from .plot import _axes

        ax = _axes(ax, (7, 4))
        if len(self.curve):
            ax.plot(self.curve[:, 0], self.curve[:, 1])
        if self.permittivity is not None:
            ax.axvline(self.permittivity, color="tab:red", linestyle="--")
            ax.set_title(f"permittivity {self.permittivity:.3g} +- {self.error or 0:.2g} ({self.verdict})")
        else:
            ax.set_title(self.reason or self.verdict)
        ax.set_xlabel("relative permittivity")
        ax.set_ylabel("focus")
        return ax


def focus(
    recording: Any,
    *,
    low: float = 3,
    high: float = 20,
    count: int = 40,
    time_zero: Optional[float] = None,
    progress: Optional[Callable[[float], Any]] = None,
) -> Focus:
    """Finds the relative permittivity with which the diffractions of a recording focus.

    Parameters
    ----------
    recording : Recording, array_like or path
        As it was recorded.
    low, high : float, optional
        Range that is searched, within 1 and 100.
    count : int, optional
        Permittivities, evenly spaced by their ratio; 8 to 1000.
    time_zero : float, optional
        Sample; else the recording's, else 0.
    progress : callable, optional
        Gets the part that is done, 0 to 1; if it gives False, the search ends with `Cancelled`.

    Returns
    -------
    Focus

    References
    ----------
    S. Fomel, E. Landa and M. Taner, Poststack velocity analysis by separation and imaging of seismic diffractions,
    Geophysics 72 (2007), U89-U94. The manual: docs/focus.md
    """
    tell = None if progress is None else lambda _, share: progress(share)
    return Focus(**_core.find_permittivity(as_recording(recording), low, high, count, time_zero, tell))
