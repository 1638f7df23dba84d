#pragma once

#include "Picture.h"

#include "Recording/Recording.h"

namespace tzmchain {

/// B-scans that a user asks for, counted from 1; or all.
struct Lines {
    std::vector<int> numbers; ///< none: the middle of each channel
    bool all = false;
};

/// Which B-scans of a recording are drawn.
struct Choice {
    std::vector<int> indices;       ///< of the recording
    std::vector<std::string> names; ///< "TX2RX1", "channel 2", or none for a single line
    int lineCount = 0;              ///< B-scans of the recording
};

/// The B-scan of each channel that lies in the middle of the block. Channels are those that the recording names, or
/// five or seven that divide its B-scans; a block without channels gives up to five B-scans evenly spread.
/// Refusal for lines that aren't there.
Choice ChooseBscans(const TZM::Recording& recording, const Lines& lines = {});

/// Names of the channels: those that the recording tells, else "channel 1" and so on where 5 or 7 divide its B-scans;
/// none for others. B-scan i belongs to channel i mod their number.
std::vector<std::string> ChannelNames(const TZM::Recording& recording);

/// Distance across the lines where their spacing is known, else their numbers.
Axis LineAxis(const TZM::Recording& recording);

/// Times of a recording at which those of its image begin, in ns of each B-scan or one of all: `shifts` in samples if a
/// detection found them, else what the recording tells; none if it tells nothing.
std::vector<double> InputTimeZeros(const TZM::Recording& recording, const std::vector<int>& shifts);

/// A B-scan with its axes: distance along the scan, two-way time from time zero on where that is known, and the depth
/// that belongs to it where the permittivity is known, too.
Panel BscanPanel(const TZM::Recording& recording, int bscan, const std::string& title);

/// A slab of an image: samples begin .. end - 1.
struct DepthSlice {
    int begin, end;
    std::string title; ///< its depths, if they are known, and its times
};

/// Slabs of equal thickness that together make up the image from time zero down.
std::vector<DepthSlice> DepthSlices(const TZM::Recording& image);

/// The chosen B-scans as they are at one place of the chain.
struct Stage {
    /// \param recording without its samples.  \param unit of its values.
    Stage(const std::string& title, const TZM::Recording& recording, const Choice& choice,
          const std::string& unit = "");

    /// Keeps what is drawn of B-scans of the recording, the first of which is `firstBscan`.
    void Take(int firstBscan, const TZM::Recording& part);

    /// Counts time from the samples that were found for each B-scan of the recording.
    void CountFrom(const std::vector<int>& timeZeros);

    std::string title, unit;
    TZM::Recording bscans;                    ///< one behind the other, kept when the recording itself is released
    std::vector<std::optional<int>> timeZero; ///< of each
    std::vector<float> across;                ///< the A-scan in the middle of every B-scan of the recording
    int lineCount;                            ///< of them
    std::vector<int> indices;                 ///< of the chosen ones
};

/// The i-th of the chosen B-scans, with the time zero of its own.
Panel StagePanel(const Stage& stage, int i);

/// Draws each chosen B-scan at all stages, one below the other, over one range of times. Gives the names of the files,
/// "bscan-NAME.png".
std::vector<std::string> DrawBscans(const Choice& choice, const std::vector<Stage>& stages,
                                    const std::filesystem::path& folder, const Style& style);

/// Draws the section across the lines, through the middle of all B-scans, at all stages: channels that differ in time
/// or level stand out as steps. Gives the name of the file, "across.png", or nothing for a single line.
std::vector<std::string> DrawAcross(const std::vector<Stage>& stages, const std::filesystem::path& folder,
                                    const Style& style);

/// The mean magnitude of slabs of equal thickness that together make up an image.
class DepthSlabs {
public:
    DepthSlabs() = default;
    /// \param image without its samples.
    explicit DepthSlabs(const TZM::Recording& image);

    /// Takes B-scans of the image, the first of which is `firstBscan`.
    void Take(int firstBscan, const TZM::Recording& part);

    /// Draws them from above, on a linear scale, one for all unless the style has it otherwise. Gives the name of the
    /// file, "depth-slices.png", or nothing for a single line.
    std::vector<std::string> Draw(const std::filesystem::path& folder, const Style& style) const;

    /// A panel for each. \param means what they show, to live as long.
    std::vector<Panel> Panels(std::vector<std::vector<float>>& means) const;

private:
    TZM::Recording about;
    std::vector<DepthSlice> slices;
    int along = 1, across = 1;             ///< A-scans and B-scans of a cell
    int columns = 0, rows = 0;             ///< cells, up to a thousand each way however long the survey is
    std::vector<std::vector<float>> slabs; ///< sums over a cell, a row for the B-scans of a cell
};

} // namespace tzmchain
