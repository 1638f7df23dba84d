"""Names as Python writes them, and what somebody may have meant by a wrong one."""

from __future__ import annotations

import difflib
import re
from typing import Iterable


def snake_case(name: str) -> str:
    """``timeZero`` as ``time_zero``, ``useFFT`` as ``use_fft``."""
    return re.sub(r"(?<=[a-z0-9])(?=[A-Z])", "_", name).lower()


def did_you_mean(wrong: str, known: Iterable[str]) -> str:
    """``"; did you mean 'time_zero'?"``, or a list of what is known where nothing is near."""
    names = list(known)
    plain = {re.sub(r"[\W_]", "", name).lower(): name for name in names}
    near = difflib.get_close_matches(re.sub(r"[\W_]", "", wrong).lower(), plain, n=1, cutoff=0.6)
    if near:
        return f"; did you mean '{plain[near[0]]}'?"
    return f"; known are {', '.join(names)}" if names else ""
