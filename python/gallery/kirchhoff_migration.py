"""Kirchhoff migration: sums along the travel times of points."""
import tzm
from draw import compare, prepared

before = prepared("FkMigration")
compare({"prepared": before, "migrated": tzm.KirchhoffMigration()(before)})
