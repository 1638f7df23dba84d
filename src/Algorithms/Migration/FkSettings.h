#pragma once

#include "Algorithms/Migration/AlgoFkMigration.h"
#include "Algorithms/Migration/StoltTables.h"

namespace TZM {

/// The settings of a mapping in transforms of nt by nx elements, with the limits applied to the tuning values.
StoltSettings FkSettings(const AlgoFkMigration::InternalAlgoParams& tuning, const AlgoGlobalSettings& sampling,
                         float permittivity, int nt, int nx);

} // namespace TZM
