"""Offset removal: every A-scan swings around zero."""
import tzm
from draw import compare

counts = tzm.demo()
compare({"counts": counts, "offset removed": tzm.OffsetRemoval()(counts)}, percentile=80)
