"""Fk migration: hyperbolas collapse to the bars that they come from."""
import tzm
from draw import compare, prepared

before = prepared("FkMigration")
compare({"prepared": before, "migrated": tzm.FkMigration()(before)})
