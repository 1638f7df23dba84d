#pragma once

#include "Picture.h"
#include "Recording.h"

namespace tzmchain {

/// Some B-scans of a recording and where they came from, kept when the recording itself is released.
struct Excerpt {
    Recording bscans;               ///< the chosen B-scans, one behind the other
    std::vector<int> indices;       ///< of the recording
    std::vector<std::string> names; ///< "TX2RX1", "channel 2", or none for a single line
    int lineCount = 0;              ///< B-scans of the recording
};

/// The B-scan of each channel that lies in the middle of the block. Channels are those that the recording names, or
/// five or seven that divide its B-scans; a block without channels gives up to five B-scans evenly spread.
Excerpt ChooseBscans(const Recording& recording);

/// Draws each B-scan of the excerpt above the same one of the image. Gives the names of the files, "bscan-NAME.png".
std::vector<std::string> DrawBscans(const Excerpt& input, const Recording& image, const std::string& resultTitle,
                                    const std::filesystem::path& folder, const Style& style);

/// Draws, on a linear scale, the mean magnitude of slabs of equal thickness that together make up the image, from
/// above. Gives the name of the file, "depth-slices.png", or nothing for a single line.
std::vector<std::string> DrawDepthSlices(const Recording& image, const std::filesystem::path& folder,
                                         const Style& style);

} // namespace tzmchain
