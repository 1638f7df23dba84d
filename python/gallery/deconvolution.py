"""Deconvolution: ringing, which the past predicts, goes."""
import tzm
from draw import compare, prepared

before = prepared("FkMigration")
compare({"prepared": before, "predicted from 0.5 ns behind an echo on": tzm.Deconvolution(gap=0.5, length=3)(before)})
