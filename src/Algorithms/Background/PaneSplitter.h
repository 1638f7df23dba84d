#pragma once

#include "Framework/private/ExecuteFrame.h"

namespace TZM {

/// Cuts the A-scans of wide B-scans into panes of equal width that overlap, each to be processed as a B-scan of its
/// own, and fades them into each other in the output. With one pane nothing is cut and nothing faded.
///
/// For p panes with an overlap of ov percent over A A-scans, in double precision:
///     x = 100 A / ((100 - ov) p + ov),   width = ceil(x),   step = ceil((1 - ov / 100) x),
/// where a number not further than one epsilon above a whole one counts as it. The last pane takes what is left.
class PaneSplitter {
public:
    /// \param wantedPanes limited to 1 .. ascans / 100, so that a pane is hardly ever narrower than 100 A-scans
    /// \param overlapPercentage limited to 0 .. 50
    PaneSplitter(int ascans, double wantedPanes, int overlapPercentage);

    int Count() const { return count; }
    int Index() const { return index; }
    int First() const { return index * step; } ///< A-scan of the block at which the current pane begins
    int Width() const { return width; }        ///< A-scans of the current pane
    int Overlap() const;                       ///< A-scans that it shares with the pane before it

    /// Goes to the next pane; false if there is none.
    bool NextPane();

    /// Weight of the current pane in its A-scan j; the rest is that of the pane before it. The last A-scan of the
    /// overlap takes the current pane alone.
    float Weight(int j) const;

private:
    int ascans;
    int count;
    int fullWidth;
    int step;
    int index = -1;
    int width = 0;
};

} // namespace TZM
