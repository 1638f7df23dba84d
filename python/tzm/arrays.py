"""What steps of one's own are built from: the library's envelopes, windows and filters.

There is no transform here beside the envelope: scipy.fft has all that are needed, and one thread of it transforms rows of
any length.
"""

from __future__ import annotations

from typing import Any, Optional, Tuple

import numpy as np

from . import _core


def hilbert_envelope(block: Any) -> np.ndarray:
    """Magnitude of the analytic signal along the last axis.

    Parameters
    ----------
    block : array_like
        Of one to three axes, the last of at most 65536 samples.

    Returns
    -------
    numpy.ndarray
        Of the block's shape, 32-bit floats. A row with a NaN or an infinity is NaN throughout.
    """
    return _core.hilbert_envelope(block)


def window(kind: str, length: int, parameter: Optional[float] = None) -> np.ndarray:
    """A symmetric window.

    Parameters
    ----------
    kind : {"hamming", "hann", "bartlett", "blackman", "kaiser"}
        Its shape.
    length : int
        Elements, from 3 on.
    parameter : float, optional
        Alpha of the Blackman window, -0.16 if it isn't told; alpha of the Kaiser window, whose argument is alpha times
        half of the last index, 1 if it isn't told.

    Returns
    -------
    numpy.ndarray
        Of 32-bit floats.
    """
    default = -0.16 if kind == "blackman" else 1.0
    return _core.window(kind, length, default if parameter is None else parameter)


def iir_design(
    kind: str, frequency: float, order: int = 1, ripple: Optional[float] = None
) -> Tuple[np.ndarray, np.ndarray]:
    """A recursive filter, as scipy.signal takes it, too.

    Parameters
    ----------
    kind : {"highpass", "lowpass"}
        What passes.
    frequency : float
        Cut-off as a part of the sampling rate, above 0 and below 0.5.
    order : int, optional
        1 to 12.
    ripple : float, optional
        dB in the pass band: a Chebyshev filter of the first kind; without it a Butterworth filter.

    Returns
    -------
    b, a : numpy.ndarray
        Numerator and denominator, of order + 1 elements.
    """
    b, a = _core.iir_design(kind, frequency, order, ripple)
    return b, a


def filter_zero_phase(b: Any, a: Any, block: Any) -> np.ndarray:
    """Filters forwards and backwards along the last axis, between mirror images of each row.

    Parameters
    ----------
    b, a : array_like
        Numerator and denominator, of 2 to 13 elements, such as of `iir_design`.
    block : array_like
        Of one to three axes.

    Returns
    -------
    numpy.ndarray
        Of the block's shape, 32-bit floats.
    """
    return _core.filter_zero_phase(b, a, block)
