"""Dip filter: what moves along the surface slower than a wave in the ground can goes."""
import tzm
from draw import compare, prepared

before = prepared("FkMigration")
compare({"prepared": before, "slower than 0.2 m/ns": tzm.DipFilter(fastest=0.2)(before)})
