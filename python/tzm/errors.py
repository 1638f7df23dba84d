"""What tzm raises beside Python's own exceptions."""

from __future__ import annotations

from typing import Any


class CalcError(RuntimeError):
    """An algorithm can't work on a block, or not with its parameters.

    Attributes
    ----------
    code : int
        The algorithm's own code, below 0 for a value that it refuses (-10 a permittivity, -11 a number of B-scans that
        no channel count divides), 99 for a failure of its arithmetic.
    step : str
        Name of the algorithm.
    """

    def __init__(self, message: str, code: int = 0, step: str = "") -> None:
        super().__init__(message)
        self.code = code
        self.step = step

    def __reduce__(self) -> Any:  # errors travel between processes
        return type(self), (str(self), self.code, self.step)


class FormatError(ValueError):
    """A file isn't a recording, or not one of the form that it claims to have."""


class MissingFileError(FormatError, FileNotFoundError):
    """There is no such file."""


class ParameterError(ValueError, TypeError):
    """An algorithm has no such parameter, or it can't have such a value."""


class Cancelled(Exception):
    """A run was ended by its progress function."""


class ChainWarning(UserWarning):
    """Something that a chain works with may not be what is meant: a number that nobody told, a key that is skipped."""
