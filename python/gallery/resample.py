"""Resampling: to the intervals that a migration wants."""
import tzm
from draw import compare, prepared

before = prepared("FkMigration")
compare({"0.05 ns, 5 mm": before, "0.1 ns, 10 mm": tzm.Resample(delta_t=0.1, delta_x=0.01)(before)})
