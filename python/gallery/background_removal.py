"""Background removal: what is the same along the scan goes."""
import tzm
from draw import compare, prepared

before = prepared("BgRemoval")
compare(
    {"with ringing": before}
    | {f"{name} removed": tzm.BgRemoval(algorithm=name)(before) for name in ("median", "highpass", "surface")}
)
