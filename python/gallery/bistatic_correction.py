"""Bistatic correction: echoes of a pair of antennas come to the times of one antenna."""
import tzm
from draw import compare, prepared

before = prepared("BistaticCorrection")
compare({"times of a pair": before, "times of one antenna": tzm.BistaticCorrection()(before)})
