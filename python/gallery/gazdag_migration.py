"""Gazdag migration: down step by step by phase shift."""
import tzm
from draw import compare, prepared

before = prepared("FkMigration")
compare({"prepared": before, "migrated": tzm.GazdagMigration()(before)})
