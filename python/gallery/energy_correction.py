"""Energy correction: bistatic B-scans get the level of the monostatic ones beside them."""
import numpy as np
import tzm
from draw import compare, prepared

before = prepared("EnergyCorrection")
after = tzm.EnergyCorrection()(before)
levels = [np.sqrt((block.data[15:20] ** 2).mean((1, 2))) for block in (before, after)]
print("levels of the five channels, before and after:", *np.round(levels, 0))
compare({"as recorded": before, "levelled": after})
