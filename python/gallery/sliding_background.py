"""Sliding background: the mean over a window along the scan goes, for ground whose background changes."""
import tzm
from draw import compare, prepared

before = prepared("BgRemoval")
compare(
    {"with ringing": before}
    | {f"window of {w} m": tzm.SlidingBackground(window=w)(before) for w in (0.2, 0.8)}
)
