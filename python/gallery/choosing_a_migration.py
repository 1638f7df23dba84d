"""The three migrations beside each other, as envelopes."""
import tzm
from draw import compare, prepared

before = prepared("FkMigration")
migrations = (tzm.FkMigration, tzm.KirchhoffMigration, tzm.GazdagMigration)
compare({kind.__name__: tzm.Mig2Post()(kind()(before)) for kind in migrations})
