#include "Algorithms/Migration/AlgoParamMigrationBase.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace TZM {

const int AlgoParamMigrationBase::defaultTimeZero = 1;
const float AlgoParamMigrationBase::defaultPermittivity = 6.0f;

AlgoParamMigrationBase::AlgoParamMigrationBase()
    : AlgoParamMigrationBase(true, 1, defaultTimeZero, defaultPermittivity, std::string()) {}

AlgoParamMigrationBase::AlgoParamMigrationBase(bool logging, int level, int timeZeroSamples, float groundPermittivity,
                                               const std::string& overlaysJson)
    : AlgoParamBase(logging, level), timeZero(timeZeroSamples, &prmListener),
      permittivity(groundPermittivity, &prmListener), overlays(overlaysJson, &prmListener) {}

ImageProps MigratedProps(const ImageProps& props, int timeZero) {
    const std::int64_t samples = std::int64_t{props.samplesPerAscan} - timeZero;
    constexpr std::int64_t most = std::numeric_limits<int>::max();
    return ImageProps(static_cast<int>(std::min(samples, most)), props.ascansPerBscan, props.bscanCount);
}

} // namespace TZM
