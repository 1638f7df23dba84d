#pragma once

#include <json/value.h>

#include <optional>
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

/// The texts of the process-wide documents, empty for none.
struct RunDocuments {
    std::string configuration, calibration;
};

/// The documents that a recipe's run had; nothing if it isn't a recipe. ChainError for one that isn't a document.
TZM_EXPORT std::optional<RunDocuments> DocumentsOf(const Json::Value& recipe);

} // namespace TZM
