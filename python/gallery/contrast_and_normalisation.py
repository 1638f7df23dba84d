"""Contrast and normalisation: B-scans, or the block, come to a range."""
import tzm
from draw import compare, prepared

before = prepared("NormalizationCscan")
after = {kind.__name__: kind(min=0, max=255)(before) for kind in (tzm.NormalizationBscan, tzm.NormalizationCscan)}
for name, block in after.items():
    print(name, block.data.min(), block.data.max())
compare({"image": before} | after)
