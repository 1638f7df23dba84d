#pragma once

#include <vector>

#include "Array/Array2D.h"
#include "Recording/Recording.h"

namespace TZM {

/// A piece of a B-scan.
struct LinePiece {
    int bscan;
    int firstAscan;
    int ascans;
    double timeZero; ///< sample of it
};

/// The pieces that stand for a recording: monostatic B-scans, of long or many ones as many as kMostPieces, evenly
/// spread. None if the lines are shorter than kFewestAscans.
std::vector<LinePiece> PiecesOf(const Recording& recording, std::optional<double> timeZero);

inline constexpr int kFewestAscans = 32, kFewestFocusSamples = 32;

/// What is diffracted in a piece, from sample firstSample of the recording on, every depth at one level.
class DiffractedLine {
public:
    /// \param slowest half the speed of the ground, in m/ns, below which nothing is kept.
    DiffractedLine(const Recording& recording, const LinePiece& piece, int firstSample, double slowest);

    IPP::Array2D<float> Ascans() const { return {line.data.get(), line.size.samples, line.size.ascans}; }

    /// How many wavenumbers are kept of a frequency in GHz, in cycles per metre: noise has its energy by that.
    double Kept(double frequency) const;

    LinePiece piece;
    int firstSample;

private:
    double slowest;
    Recording line;
};

} // namespace TZM
