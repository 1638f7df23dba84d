"""Band pass: the antenna's band stays."""
import tzm
from draw import compare, prepared

before = prepared("BgRemoval")
compare({"prepared": before, "750 to 3000 MHz": tzm.BandPass(low=750, high=3000)(before)})
