"""Automatic gain: the late part is lifted."""
import tzm
from draw import compare, prepared

before = tzm.BgRemoval(algorithm="median")(prepared("BgRemoval"))
compare({"without gain": before, "with gain": tzm.AutoGain()(before)})
