"""Automatic gain control: every part comes to one strength."""
import tzm
from draw import compare, prepared

before = prepared("FkMigration")
compare({"prepared": before, "window of 5 ns": tzm.Agc(window=5)(before)})
