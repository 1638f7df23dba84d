"""Time-zero detection: the direct wave of every channel comes to sample 0."""
import tzm
from draw import compare, prepared

counts = prepared("TimeZeroDetection")
found = tzm.TimeZeroDetection()(counts)
print([line for line in found.report if "time zero" in line])
compare({"counts": counts, "time zero found": found})
