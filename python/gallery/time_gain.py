"""Gain over time: what spreading has taken comes back."""
import tzm
from draw import compare, prepared

before = prepared("FkMigration")
compare({"prepared": before, "times the time, and 0.5 dB/ns": tzm.TimeGain(rate=0.5)(before)})
