"""Envelope, phase and frequency of the analytic signal."""
import tzm
from draw import compare, prepared

before = prepared("Envelope")
compare({"migrated": before} | {kind: tzm.Envelope(kind=kind)(before) for kind in ("magnitude", "phase", "frequency")})
