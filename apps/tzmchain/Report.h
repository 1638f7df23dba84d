#pragma once

#include "Recording/Recording.h"

#include <json/value.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tzmchain {

/// A block as a report carries it: gathered B-scan by B-scan, and made smaller where it has more elements than it may.
/// A cell of the smaller block holds the value of the largest magnitude.
class ReportBlock {
public:
    ReportBlock() = default;
    /// \param recording without its samples.  \param cells the most that are kept.
    ReportBlock(const TZM::Recording& recording, std::int64_t cells);

    /// Takes B-scans, the first of which is `firstBscan`.
    void Take(int firstBscan, const TZM::Recording& part);

    const TZM::Recording& About() const { return about; }
    /// Sizes, factors and scale as the page reads them.
    Json::Value Describe(const std::string& unit) const;
    /// The cells as 8-bit levels, each less the one before it, deflated, in base64.
    std::string Packed() const;

private:
    struct Levels {
        bool isSigned;
        float middle; ///< the median where values are signed, else 0
        float high;   ///< largest distance from it that is told apart
    };
    const Levels& Scale() const; ///< of what was taken; once asked for, it stays

    TZM::Recording about;
    int factors[3] = {1, 1, 1}; ///< elements to a cell along samples, A-scans and B-scans
    TZM::Dimensions size;       ///< cells
    TZM::Samples cells;
    mutable std::optional<Levels> scale;
};

/// What a report is made of beside the blocks.
struct ReportTexts {
    Json::Value recipe;            ///< of the run, or null
    std::filesystem::path picture; ///< PNG that stands in for the page where there are no scripts; none if empty
    std::vector<double>
        inputTimeZeros;            ///< ns into the input, of each B-scan or of all; empty: its times are as recorded
    std::string unit = "relative"; ///< of the image's values
};

/// Cells that each of the two blocks of a report may have, so that its file is no larger than `bytes`.
std::int64_t ReportCells(std::uint64_t bytes);

/// Writes the report of an image as one HTML page that needs nothing else: three linked sections through the block,
/// the input beside them, the recipe. Refusal if the file can't be written.
/// \param image gathered whole.  \param input likewise, or empty.
void WriteReport(const std::filesystem::path& file, const ReportBlock& image, const std::optional<ReportBlock>& input,
                 const ReportTexts& texts);

/// What the command `view` is told.
struct ViewOptions {
    std::filesystem::path image;
    std::vector<std::filesystem::path> inputs; ///< the recording from which the image was made; may be empty
    std::filesystem::path out;                 ///< empty: report.html beside the image
    std::uint64_t bytes = 0;                   ///< size of the report
};

/// Writes the report of an image that stands; a recipe.json beside it that names it tells how it came about. A report
/// of before is replaced, another file isn't: Refusal.
/// \returns the file.
std::filesystem::path View(const ViewOptions& options);

} // namespace tzmchain
