"""Bistatic replacement: the head of a bistatic B-scan comes from its neighbours."""
import tzm
from draw import compare, prepared

before = tzm.BistaticCorrection()(prepared("BistaticCorrection"))
after = tzm.BistaticReplacement(enabled=True, replace_height=60, crossfade_len=20)(before)
compare({"corrected": before, "head replaced": after})
