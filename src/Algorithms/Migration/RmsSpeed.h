#pragma once

#include <vector>

#include "Array/Array.h"
#include "Framework/AlgoBase.h"

namespace TZM {

/// RMS speed from the surface down to each sample, in metres per second: the layers from the first one on, each as
/// thick as its thickness over its speed, rounded to samples, then the ground. A first layer of 0 samples is passed
/// over, a later one ends them. The vector has at least 3 elements.
/// \param deltaT s between samples
void RmsSpeed(const std::vector<AlgoBase::Overlay>& layers, float permittivity, float deltaT,
              IPP::Array<float>& velocity);

} // namespace TZM
