#pragma once

#include "Chain.h"
#include "Recording.h"

#include <json/value.h>

#include <string>
#include <utility>
#include <vector>

namespace tzmchain {

/// What a run did, for who wants to understand or repeat it.
struct Recipe {
    Recording input; ///< without its samples
    Recording image; ///< likewise
    std::pair<float, float> imageRange;
    std::string configuration; ///< the documents that the algorithms read
    std::string calibration;
    int threads = 1;
    std::int64_t peakBytes = 0;                          ///< the most memory that the program held
    std::vector<std::pair<std::string, double>> seconds; ///< of what isn't a step of the chain
    std::vector<std::string> outputs;                    ///< names of the files
};

/// The text of recipe.json. It serves as a chain document, too.
std::string RecipeText(const Recipe& recipe, const Chain& chain);

} // namespace tzmchain
