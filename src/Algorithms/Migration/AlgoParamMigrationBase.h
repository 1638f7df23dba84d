#pragma once

#include <string>

#include "Framework/AlgoParamBase.h"
#include "Framework/ImageProps.h"
#include "Framework/Prm.h"

namespace TZM {

/// What all migrations are told by the host.
struct TZM_EXPORT AlgoParamMigrationBase : AlgoParamBase {
    static const int defaultTimeZero;       ///< 1
    static const float defaultPermittivity; ///< 6.0

    AlgoParamMigrationBase();
    AlgoParamMigrationBase(bool enableLogging, int loggingLevel, int timeZero, float permittivity,
                           const std::string& overlays);

    Prm<int> timeZero; ///< samples ahead of the direct wave at the head of every A-scan, which the migration drops
    Prm<float> permittivity;   ///< relative permittivity of the ground, above 0
    Prm<std::string> overlays; ///< layers above the ground as one JSON text; only the Kirchhoff migration reads it
};

/// Shape of a migrated block: timeZero samples fewer per A-scan, every A-scan valid, whatever `props` marks as valid.
TZM_EXPORT ImageProps MigratedProps(const ImageProps& props, int timeZero);

} // namespace TZM
