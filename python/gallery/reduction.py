"""Sum-ups: thick slices; and a box of the block."""
import tzm
from draw import compare, prepared

image = prepared("NormalizationCscan")
thick = tzm.HorizontalSumUp(thickness=3)(tzm.VerticalSumUp(thickness=8)(image))
box = tzm.Clipper(borders={"lower_x": 40, "upper_x": 40, "lower_y": 5, "upper_y": 5})(thick)
compare({name: block.slice(depth=0.10) for name, block in [("image", image), ("summed up", thick), ("a box", box)]})
