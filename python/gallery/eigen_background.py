"""Eigenimage background: what looks alike in many A-scans goes."""
import tzm
from draw import compare, prepared

before = prepared("BgRemoval")
compare({"with ringing": before, "the first eigenimage removed": tzm.EigenBackground()(before)})
