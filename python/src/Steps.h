#pragma once

#include <string>
#include <vector>

#include "Chain/Chain.h"

namespace tzmpy {

/// A step with the same parameters.
TZM::Step Copied(const TZM::Step& step);

/// A chain of copies of steps.
TZM::Chain ChainOf(const std::vector<const TZM::Step*>& steps);

/// Settles a chain for a recording, whose samples aren't needed, and checks it. Gives the warnings.
std::vector<std::string> Prepare(TZM::Chain& chain, TZM::Recording& recording, const TZM::GivenNumbers& numbers);

} // namespace tzmpy
