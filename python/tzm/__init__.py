"""Images of ground-penetrating radar: a numpy block in, an image out.

>>> import tzm
>>> rec = tzm.read("survey.DZT")
>>> image = tzm.run(rec, permittivity=6.5)
>>> image.plot(channel=0)

`Recording` holds a block and what places it, `read` gives one from a file of any known form, `run` makes an image of it.
`algorithms()` lists the algorithms, which are classes of this module (`tzm.FkMigration(permittivity=6.5)(block)`), and
`Chain` puts them one behind the other.
"""

from __future__ import annotations

from typing import Any, List

from .errors import CalcError, Cancelled, ChainWarning, FormatError, ParameterError
from . import _core, survey
from .algorithms import CLASSES, Algorithm, algorithms
from .arrays import filter_zero_phase, hilbert_envelope, iir_design, window
from .chain import Chain, presets, run
from .focusing import Focus, focus
from .names import did_you_mean
from .plot import DepthSlice
from .reading import formats, open, read
from .recording import Recording

__version__: str = _core.__version__

_PUBLIC = [
    "Algorithm",
    "CalcError",
    "Cancelled",
    "Chain",
    "ChainWarning",
    "DepthSlice",
    "Focus",
    "FormatError",
    "ParameterError",
    "Recording",
    "algorithms",
    "demo",
    "filter_zero_phase",
    "focus",
    "formats",
    "hilbert_envelope",
    "iir_design",
    "open",
    "presets",
    "read",
    "run",
    "survey",
    "window",
]
__all__ = _PUBLIC + list(CLASSES)  # noqa: PLE0604
globals().update(CLASSES)


def demo(*, mesh: bool = False, lanes: int = 7, ascans: int = 300) -> Recording:
    """What an array of five channels would record of a reinforced slab.

    Parameters
    ----------
    mesh : bool, optional
        The slab with a mesh of 10 cm near the surface; else seven bars at 0.1 m, bars along the scan at 0.16 m, a second
        layer at 0.65 m. The back wall lies at 0.95 m.
    lanes : int, optional
        Runs of the array, each 5 B-scans.
    ascans : int, optional
        Of each B-scan, 5 mm apart.
    """
    return _core.demo_scene(mesh, lanes, ascans)


def __getattr__(name: str) -> Any:
    known: List[str] = [] if name.startswith("_") else __all__
    raise AttributeError(f"module 'tzm' has no attribute '{name}'{did_you_mean(name, known)}")


def __dir__() -> List[str]:
    return sorted(__all__ + ["__version__"])
