"""Dewow: what is slower than the antenna's band goes."""
import tzm
from draw import compare, prepared

before = prepared("BgRemoval")
compare({"prepared": before, "level over 2 ns removed": tzm.Dewow(window=2)(before)})
