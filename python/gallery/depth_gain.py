"""Gain over depth: two straight lines."""
import tzm
from draw import compare, prepared

before = prepared("DepthGaining")
after = tzm.DepthGaining(apex=-1, end=-1, apex_gain=8)(before)
compare({"envelope": before, "up to eight times at the end": after})
