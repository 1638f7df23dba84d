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
from . import _core
from .algorithms import CLASSES, Algorithm, algorithms
from .chain import Chain, run
from .names import did_you_mean
from .reading import formats, open, read
from .recording import Recording

__version__: str = _core.__version__

_PUBLIC = [
    "Algorithm",
    "CalcError",
    "Cancelled",
    "Chain",
    "ChainWarning",
    "FormatError",
    "ParameterError",
    "Recording",
    "algorithms",
    "formats",
    "open",
    "read",
    "run",
]
__all__ = _PUBLIC + list(CLASSES)  # noqa: PLE0604
globals().update(CLASSES)


def __getattr__(name: str) -> Any:
    known: List[str] = [] if name.startswith("_") else __all__
    raise AttributeError(f"module 'tzm' has no attribute '{name}'{did_you_mean(name, known)}")


def __dir__() -> List[str]:
    return sorted(__all__ + ["__version__"])
