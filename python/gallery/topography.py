"""Topography: A-scans move by the elevation of the ground."""
import tzm
from draw import compare, prepared

before = prepared("FkMigration")
compare({"as on level ground": before, "on a slope of 0.1 m": tzm.Topography(elevations=[0.1, 0])(before)})
