"""Time-zero crop: the samples ahead of a time zero that is known are dropped."""
import tzm
from draw import compare, prepared

counts = prepared("TimeZeroDetection")
compare({"recorded": counts, "from sample 40 on": tzm.TimeZeroCrop(time_zero=40)(counts)})
