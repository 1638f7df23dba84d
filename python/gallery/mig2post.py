"""Envelope: a reflector shows as one positive peak."""
import tzm
from draw import compare, prepared

before = prepared("Envelope")
compare({"migrated": before, "envelope": tzm.Mig2Post()(before)})
