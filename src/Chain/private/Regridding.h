#pragma once

#include "Algorithms/Preparation/AlgoResample.h"
#include "Algorithms/Preparation/AlgoTopography.h"
#include "Recording/Recording.h"

namespace TZM {

/// The intervals of a block as algorithms get them.
AlgoGlobalSettings SamplingOf(const Recording& recording);

/// What a resampling makes of what is known of a block. Time zeros go to the nearest sample, the time of the first one
/// stays; positions are straight between those of the A-scans.
void RegridBehind(const AlgoResample& algorithm, Recording& block);

/// What a static correction makes of it: the samples, and the elevation of time zero.
void RegridBehind(const AlgoTopography& algorithm, Recording& block);

/// Heights of all A-scans, B-scan by B-scan, as a list of numbers; a B-scan without positions lies like the one ahead
/// of it. Null if none tells a height.
Json::Value ElevationsOf(const Recording& recording);

} // namespace TZM
