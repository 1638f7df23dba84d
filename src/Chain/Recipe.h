#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "Array/Export.h"
#include "Chain/Chain.h"

namespace TZM {

/// What a run was: a chain document with all parameters as they were, the recording, every step with its shapes and
/// seconds, the process-wide documents, the image with its range of values, and the warnings. A front end adds members
/// of its own. `input` needs no samples.
TZM_EXPORT Json::Value RecipeOf(const Chain& chain, const Recording& input, const RunResult& result,
                                const std::vector<std::string>& warnings);

} // namespace TZM
