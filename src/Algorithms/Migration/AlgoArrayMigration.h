#pragma once

#include <vector>

#include "Algorithms/Migration/AlgoParamMigrationBase.h"
#include "Framework/Algo.h"
#include "Framework/BlockCoupling.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

struct TZM_EXPORT AlgoParamArrayMigration : AlgoParamMigrationBase {
    enum class Wavelet {
        Raw,      ///< sums the record as it is, as the migration of single B-scans does
        Corrected ///< sums its derivative with the weights of the integral: flat reflectors keep shape and amplitude
    };

    AlgoParamArrayMigration();
    AlgoParamArrayMigration(bool enableLogging, int loggingLevel, int timeZero, float permittivity,
                            const std::string& overlays, float lineSpacing);

    Prm<float> lineSpacing;     ///< m between neighbouring B-scans, above 0; hosts take it from the recording
    Prm<int> lines;             ///< B-scans of the image, evenly from the first one to the last; 0: those of the input
    Prm<float> apertureAngle;   ///< degrees, 0 .. 85; 0: no limit at all
    Prm<int> apertureBaseWidth; ///< A-scans to each side that count at any depth
    Prm<int> apertureBaseLines; ///< B-scans to each side, likewise
    Prm<float> antennaOffsetMono; ///< m between transmitter and receiver of monostatic channels, along the scan
    Prm<float> antennaOffsetBi;   ///< m between those of bistatic channels
    Prm<bool> bistaticAcross;     ///< these stand across the scan, else along it
    Prm<bool> antiAlias;          ///< fades out dips that neighbouring traces are too far apart for
    Prm<Wavelet> wavelet;
};

/// Migrates the array as a volume: each sample of the image is the weighted sum of all A-scans of all B-scans around it
/// along the travel times from transmitter to point to receiver (W. A. Schneider, Integral formulation for migration in
/// two and three dimensions, Geophysics 43 (1978), 49-76). Follows layers above the ground, antenna offsets and valid
/// ranges. What lies across the scan is focused, too, which no migration of single B-scans can do.
///
/// With t = i delta_t, v half the RMS speed down to t, (X, Y) the way in metres from a point of the image to the middle
/// of a trace's antennas along and across the scan, and (ax, ay) half the way between these:
///     out[i, x, y] = sum over traces of W in[timeZero + floor(T / delta_t + 1 / 2)],
///     T = (sqrt(((X + ax)^2 + (Y + ay)^2) / v^2 + t^2) + sqrt(((X - ax)^2 + (Y - ay)^2) / v^2 + t^2)) / 2,
///     W = N delta_t t / T^2 with N = samples - timeZero,   0 at i = 0.
/// Of these, t / T is the obliquity and 1 / T the spreading of the integral. "Corrected" sums -d in / dt with the
/// weights delta_x lineSpacing t / (2 pi v^2 T^2), by differences over two samples, in which the record counts as 0
/// around its samples.
///
/// A trace counts while T lies within the record, and within the aperture: sqrt(X^2 + Y^2) up to
/// t v tan(apertureAngle) / 2, as the migration of single B-scans has it, or |X| up to apertureBaseWidth delta_x and
/// |Y| up to apertureBaseLines lineSpacing. B-scan z lies at z lineSpacing; odd positions in a group of channels are
/// bistatic (Framework/Channels.h); where neither 5 nor 7 divides the number of B-scans, all are monostatic.
///
/// Anti-aliasing reads the input under a triangle that falls to 0 at w samples on both sides, w the moveout between
/// neighbouring traces, the larger of delta_x |dT / dX| and lineSpacing |dT / dY|, rounded, at least 1: a triangle
/// fades out the periods that are shorter than twice the moveout, and takes away that of w (D. E. Lumley, J. F.
/// Claerbout and D. Bevc, Anti-aliased Kirchhoff 3-D migration, SEG expanded abstracts 13 (1994), 1282-1285).
///
/// Output: samples - timeZero by A-scans by B-scans, or by `lines`; the image is made of valid A-scans only, and stands
/// everywhere, where a B-scan has no valid A-scans, too. CalcError -10 if the permittivity isn't above 0, -9 if
/// delta_t, delta_x or lineSpacing isn't, -8 for a timeZero, lines or width of the aperture below 0; 99
/// "IPP::Exception::ippsZero_32f" if the output has no samples, 99 for A-scans of fewer than 3 samples behind time
/// zero. A NaN reaches no farther than the aperture.
class TZM_EXPORT AlgoArrayMigration : public Algo<AlgoParamArrayMigration>, public CountsBscans {
public:
    static const float defaultLineSpacing;       ///< 0.05 m
    static const float defaultApertureAngle;     ///< 60 degrees
    static const int defaultApertureBaseWidth;   ///< 10 A-scans
    static const int defaultApertureBaseLines;   ///< 2 B-scans
    static const float defaultAntennaOffsetMono; ///< 0.03 m
    static const float defaultAntennaOffsetBi;   ///< 0.03 m

    explicit AlgoArrayMigration(const std::string& name = "ArrayMigration");

    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    ImageProps GetAdjustedImageDimensions(const ImageProps& props) const override;
    void ParseParamsFromJsonConfig() override;

    /// The part of the output that a run of neighbouring B-scans of a block gives: the bits of an Execute on the whole
    /// for those B-scans that have LinesBeside of the block, or all that there are, on both sides. Not with `lines`.
    void ExecutePart(const float* in, const ImageProps& partProps, const BlockPart& part, float* out,
                     const ImageProps& outProps) const override;

    bool WorksInParts() const override { return params.lines == 0; }

    /// B-scans on each side that the aperture reaches at most, in A-scans that last so many seconds.
    int LinesBeside(double duration) const;

    /// The keys that ParseParamsFromJsonConfig reads, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;
};

} // namespace TZM
