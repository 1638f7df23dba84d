"""Array migration: the bars along the scan are sharp across it, too."""
import tzm
from draw import compare, prepared

lines = tzm.Envelope()(tzm.FkMigration()(prepared("FkMigration")))
volume = tzm.Envelope()(tzm.ArrayMigration(wavelet="corrected")(prepared("ArrayMigration")))
compare(
    {
        "line by line, 0.16 m deep": lines.slice(depth=0.16, thickness=0.02),
        "as a volume": volume.slice(depth=0.16, thickness=0.02),
    }
)
