"""Fk migration in three dimensions beside the one of single lines, from above at the depth of the bars along the scan."""
import tzm
from draw import compare, prepared

before = prepared("FkMigration")
kinds = (tzm.FkMigration, tzm.FkMigration3D)
compare({kind.__name__: tzm.Envelope()(kind()(before)).slice(depth=0.16, thickness=0.02) for kind in kinds})
