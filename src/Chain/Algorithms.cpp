#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "Algorithms/Background/AlgoBgRemoval.h"
#include "Algorithms/Background/AlgoEigenBackground.h"
#include "Algorithms/Background/AlgoSlidingBackground.h"
#include "Algorithms/Filter/AlgoBandPass.h"
#include "Algorithms/Filter/AlgoDeconvolution.h"
#include "Algorithms/Filter/AlgoDewow.h"
#include "Algorithms/Filter/AlgoDipFilter.h"
#include "Algorithms/Filter/AlgoEnvelope.h"
#include "Algorithms/Gain/AlgoAgc.h"
#include "Algorithms/Gain/AlgoAutoGain.h"
#include "Algorithms/Gain/AlgoDepthGaining.h"
#include "Algorithms/Gain/AlgoEnergyCorrection.h"
#include "Algorithms/Gain/AlgoNormalizationBscan.h"
#include "Algorithms/Gain/AlgoNormalizationCscan.h"
#include "Algorithms/Gain/AlgoSetContrastBscan.h"
#include "Algorithms/Gain/AlgoTimeGain.h"
#include "Algorithms/Migration/AlgoArrayMigration.h"
#include "Algorithms/Migration/AlgoFkMigration.h"
#include "Algorithms/Migration/AlgoFkMigration3D.h"
#include "Algorithms/Migration/AlgoGazdagMigration.h"
#include "Algorithms/Migration/AlgoKirchhoffMigration.h"
#include "Algorithms/Migration/AlgoMig2Post.h"
#include "Algorithms/Preparation/AlgoAscanOffsetRemoval.h"
#include "Algorithms/Preparation/AlgoBistaticCorrection.h"
#include "Algorithms/Preparation/AlgoBistaticReplacement.h"
#include "Algorithms/Preparation/AlgoResample.h"
#include "Algorithms/Preparation/AlgoTimeZeroCrop.h"
#include "Algorithms/Preparation/AlgoTimeZeroDetection.h"
#include "Algorithms/Preparation/AlgoTopography.h"
#include "Algorithms/Reduction/AlgoBorderClearing.h"
#include "Algorithms/Reduction/AlgoHorizontalSumUp.h"
#include "Algorithms/Reduction/AlgoVerticalSumUp.h"
#include "Chain/AlgorithmInfo.h"
#include "Chain/private/Regridding.h"
#include "Chain/private/Row.h"

namespace TZM {

namespace {

constexpr Sensible kPermittivity = {1, 81}; // air to water
constexpr Sensible kLineSpacing = {0.001, 10};
constexpr int kLongestEnvelope = 1024;

constexpr const char* kDroppedSamples = "samples ahead of the direct wave, which are dropped";
constexpr const char* kGround = "relative permittivity of the ground";
constexpr const char* kLinesApart = "distance between neighbouring B-scans";

/// What all migrations are told.
template <class A>
Row<A> MigrationRow(const std::string& summary, double cost, const char* overlays) {
    return Row<A>(summary, cost, Coupling::Bscan)
        .Parameter("timeZero", &AlgoParamMigrationBase::timeZero, "sample", kFromZero, kDroppedSamples)
        .Parameter("permittivity", &AlgoParamMigrationBase::permittivity, "", kPermittivity, kGround)
        .Parameter("overlays", &AlgoParamMigrationBase::overlays, "", kAnyValue, overlays);
}

/// Limits that the Stolt migrations apply to their keys.
constexpr std::pair<const char*, const char*> kStoltRemarks[] = {
    {"DipMax", "0 to 90 degrees"},
    {"DipWidth", "at most 90 - DipMax"},
    {"InterpolationMethod", "1 windowed sinc, other values linear"},
    {"MaxMigFreqRel", "0.01 to 1"},
    {"HarlanThreshold", "0.01 to 10"}};

/// Window of a sum-up.
template <class A>
Row<A> SumUpRow(const std::string& summary, Coupling::Scope scope, const char* thickness) {
    return Row<A>(summary, 5, scope)
        .Parameter("Thickness", &AlgoParamSumUp::Thickness, "", kFromZero, thickness)
        .Parameter("UseMax", &AlgoParamSumUp::UseMax, "", kAnyValue, "the strongest value; else the root mean square")
        .Page("reduction");
}

std::vector<AlgorithmInfo> Rows() {
    constexpr const char* unusedOverlays = "layers above the ground, as JSON text; not used";
    return {
        Row<AlgoAscanOffsetRemoval>("takes the mean off every A-scan", 4, Coupling::Ascan).Page("offset-removal"),
        Row<AlgoTimeZeroDetection>("moves the direct wave of every B-scan to sample 0", 3, Coupling::Lane)
            .FindsTimeZero()
            .TellsChannels()
            .Couples([](const AlgoTimeZeroDetection&) {
                return Coupling{Coupling::Block, 0, true};
            })
            .Page("time-zero-detection"),
        Row<AlgoTimeZeroCrop>("drops the samples ahead of a time zero that is known", 3, Coupling::Bscan)
            .Parameter("timeZero", &AlgoParamTimeZeroCrop::timeZero, "sample", kFromZero,
                       "sample that becomes the first one")
            .Parameter("timeZeros", &AlgoParamTimeZeroCrop::timeZeros, "sample", kFromZero,
                       "the same of each B-scan, in place of timeZero; empty: one for all")
            .SetsTimeZero()
            .Couples([](const AlgoTimeZeroCrop& crop) {
                return Coupling{crop.GetParams().timeZeros.value.empty() ? Coupling::Ascan : Coupling::Block, 0, false};
            })
            .Page("time-zero-crop"),
        Row<AlgoResample>("brings A-scans to another interval in time, lines to another spacing", 8, Coupling::Bscan)
            .Parameter("deltaT", &AlgoParamResample::deltaT, "ns", kFromZero, "time between samples; 0: as it is")
            .Parameter("deltaX", &AlgoParamResample::deltaX, "m", kFromZero, "distance between A-scans; 0: as it is")
            .Regrids(RegridBehind)
            .Couples([](const AlgoResample& resample) {
                return Coupling{resample.GetParams().deltaX > 0.f ? Coupling::Bscan : Coupling::Ascan, 0, false};
            })
            .Page("resample"),
        Row<AlgoEnergyCorrection>("levels bistatic B-scans against the monostatic ones beside them", 4, Coupling::Lane)
            .TellsChannels()
            .Page("energy-correction"),
        Row<AlgoBistaticCorrection>("moves bistatic echoes to the times of one antenna; needs time zero at sample 0", 4,
                                    Coupling::Lane)
            .Parameter("timeZero", &AlgoParamBistaticCorrection::timeZero, "sample", kFromZero,
                       "carried along; the correction starts at sample 0")
            .Parameter("permittivity", &AlgoParamBistaticCorrection::permittivity, "", kPermittivity, kGround)
            .Parameter("antennaOffset", &AlgoParamBistaticCorrection::antennaOffset, "m", {0, 10},
                       "distance between transmitter and receiver")
            .TellsChannels()
            .Page("bistatic-correction"),
        Row<AlgoBistaticReplacement>("replaces the first samples of bistatic B-scans by those of their neighbours", 3,
                                     Coupling::Lane)
            .Parameter("replaceHeight", &AlgoParamBistaticReplacement::replaceHeight, "sample", kFromZero,
                       "samples at the top of an A-scan that are replaced")
            .Parameter("crossfadeLen", &AlgoParamBistaticReplacement::crossfadeLen, "sample", kFromZero,
                       "samples of the fade behind them")
            .Parameter("enabled", &AlgoParamBistaticReplacement::enabled, "", kAnyValue, "off: the output is a copy")
            .TellsChannels()
            .Page("bistatic-replacement"),
        Row<AlgoDewow>("takes the slow part off every A-scan, its level over a window in time", 5, Coupling::Ascan)
            .Parameter("window", &AlgoParamDewow::window, "ns", kFromZero,
                       "length along the A-scan over which the level is taken")
            .Parameter("median", &AlgoParamDewow::median, "", kAnyValue, "the median in place of the mean")
            .Page("dewow"),
        Row<AlgoBandPass>("keeps a band of frequencies of every A-scan, without a change of phase", 4, Coupling::Ascan)
            .Parameter("low", &AlgoParamBandPass::low, "MHz", kFromZero, "lower edge of the band; 0: open")
            .Parameter("high", &AlgoParamBandPass::high, "MHz", kFromZero, "upper edge; 0: open")
            .Parameter("order", &AlgoParamBandPass::order, "", {0, 20}, "of the Butterworth edges; 0: a trapezoid")
            .Page("band-pass"),
        Row<AlgoBgRemoval>("takes out what is the same along the scan: ringing, the direct wave", 8, Coupling::Lane)
            .Parameter("timeZero", &AlgoParamBgRemoval::timeZero, "sample", kFromZero,
                       "sample of time zero; only \"classify\" uses it")
            .Parameter("algorithm", &AlgoParamBgRemoval::algorithm, "", kAnyValue, "what is taken for background")
            .Remark("Algorithm", "\"median\", \"classify\", \"highpass\" or \"surface\"")
            .Remark("ClsFilterOrder", "1 to 12")
            .Remark("PaneOverlapPercentage", "0 to 50")
            .TellsChannels()
            .Page("background-removal"),
        Row<AlgoSlidingBackground>("takes out what is the same over a window along the scan", 5, Coupling::Bscan)
            .Parameter("window", &AlgoParamSlidingBackground::window, "m", kFromZero,
                       "length along the scan over which the background is taken")
            .Parameter("median", &AlgoParamSlidingBackground::median, "", kAnyValue, "the median in place of the mean")
            .Page("sliding-background"),
        Row<AlgoEigenBackground>("takes out what looks alike in many A-scans: the first eigenimages", 12,
                                 Coupling::Bscan)
            .Parameter("count", &AlgoParamEigenBackground::count, "", kFromZero, "eigenimages that are background")
            .Parameter("energy", &AlgoParamEigenBackground::energy, "", {0, 1},
                       "share of the energy that the background holds, in place of count; 0: count")
            .Parameter("keep", &AlgoParamEigenBackground::keep, "", kAnyValue,
                       "keeps the background in place of taking it out")
            .Page("eigen-background"),
        Row<AlgoDipFilter>("keeps or rejects what moves along the surface between two apparent speeds", 6,
                           Coupling::Bscan)
            .Parameter("slowest", &AlgoParamDipFilter::slowest, "m/ns", kFromZero, "slowest of the fan; 0: no limit")
            .Parameter("fastest", &AlgoParamDipFilter::fastest, "m/ns", kFromZero,
                       "fastest of the fan; 0: no limit, up to what is flat")
            .Parameter("reject", &AlgoParamDipFilter::reject, "", kAnyValue, "takes the fan out in place of keeping it")
            .Parameter("taper", &AlgoParamDipFilter::taper, "", {0, 1},
                       "share of the slowness at an edge over which it fades")
            .Page("dip-filter"),
        Row<AlgoDeconvolution>("takes out of every A-scan what its own past predicts: ringing, multiples", 12,
                               Coupling::Ascan)
            .Parameter("gap", &AlgoParamDeconvolution::gap, "ns", kFromZero,
                       "time behind an echo that stays; 0: spiking, all but its first sample goes")
            .Parameter("length", &AlgoParamDeconvolution::length, "ns", kFromZero,
                       "time behind the gap in which an echo repeats itself")
            .Parameter("noise", &AlgoParamDeconvolution::noise, "", {0, 1},
                       "share of white noise that steadies the operator")
            .Page("deconvolution"),
        MigrationRow<AlgoFkMigration>("moves energy back to its reflector with one speed (Stolt)", 6, unusedOverlays)
            .With(kStoltRemarks)
            .Page("fk-migration"),
        MigrationRow<AlgoKirchhoffMigration>(
            "sums along the travel times of points, under layers and within an aperture", 20,
            "layers above the ground, as JSON text")
            .TellsChannels()
            .Page("kirchhoff-migration"),
        MigrationRow<AlgoGazdagMigration>("steps down by phase shift, with a speed that falls near the surface", 20,
                                          unusedOverlays)
            .Parameter("useFFT", &AlgoParamGazdagMigration::useFFT, "", kAnyValue, "transforms of powers of two")
            .Parameter("useTaper", &AlgoParamGazdagMigration::useTaper, "", kAnyValue,
                       "fades the A-scans at both ends of a B-scan; not with useFFT")
            .Page("gazdag-migration"),
        MigrationRow<AlgoArrayMigration>("sums all lines and A-scans along the true paths of an array, under layers",
                                         120, "layers above the ground, as JSON text")
            .Parameter("lineSpacing", &AlgoParamArrayMigration::lineSpacing, "m", kLineSpacing, kLinesApart)
            .Parameter("lines", &AlgoParamArrayMigration::lines, "", kFromZero,
                       "B-scans of the image, from the first line to the last; 0: those of the recording")
            .Parameter("apertureAngle", &AlgoParamArrayMigration::apertureAngle, "degree", {0, 85},
                       "opening of the aperture, whose radius is half its tangent times the depth; 0: no limit")
            .Parameter("apertureBaseWidth", &AlgoParamArrayMigration::apertureBaseWidth, "", kFromZero,
                       "A-scans to each side that count at any depth")
            .Parameter("apertureBaseLines", &AlgoParamArrayMigration::apertureBaseLines, "", kFromZero,
                       "B-scans to each side that count at any depth")
            .Parameter("antennaOffsetMono", &AlgoParamArrayMigration::antennaOffsetMono, "m", {0, 10},
                       "distance between the antennas of a monostatic channel, along the scan")
            .Parameter("antennaOffsetBi", &AlgoParamArrayMigration::antennaOffsetBi, "m", {0, 10},
                       "distance between those of a bistatic channel; 0 behind a bistatic correction")
            .Parameter("bistaticAcross", &AlgoParamArrayMigration::bistaticAcross, "", kAnyValue,
                       "the antennas of a bistatic channel stand across the scan; else along it")
            .Parameter("antiAlias", &AlgoParamArrayMigration::antiAlias, "", kAnyValue,
                       "fades out dips that neighbouring traces are too far apart for")
            .Parameter("wavelet", &AlgoParamArrayMigration::wavelet, "", kAnyValue,
                       "\"corrected\" sums the derivative, which keeps the pulse of flat reflectors")
            .Remark("Wavelet", "\"raw\" or \"corrected\"")
            .FillsGaps()
            .Couples([](const AlgoArrayMigration& migration, double duration) {
                if (!migration.WorksInParts()) return Coupling{Coupling::Block, 0, false};
                if (!std::isfinite(duration)) return Coupling{Coupling::Neighbours, Coupling::kAsFarAsItReaches, false};
                return Coupling{Coupling::Neighbours, migration.LinesBeside(duration), false};
            })
            .Page("array-migration"),
        MigrationRow<AlgoFkMigration3D>("moves energy back in all directions with one speed (Stolt), for one antenna",
                                        30, unusedOverlays)
            .Parameter("lineSpacing", &AlgoParamFkMigration3D::lineSpacing, "m", kLineSpacing, kLinesApart)
            .Parameter("padding", &AlgoParamFkMigration3D::padding, "", {0, 4},
                       "share of the block's extent by which the transforms are longer")
            .Parameter("taper", &AlgoParamFkMigration3D::taper, "", {0, 0.5},
                       "share of the extent over which the block fades out at its ends")
            .With(kStoltRemarks)
            .Couples([](const AlgoFkMigration3D&) {
                return Coupling{Coupling::Block, 0, false};
            })
            .Page("fk-migration-3d"),
        Row<AlgoMig2Post>("replaces every A-scan by its envelope", 2, Coupling::Ascan)
            .UpToSamples(kLongestEnvelope)
            .Page("mig2post"),
        Row<AlgoEnvelope>("replaces every A-scan by its envelope, or by its phase or frequency", 3, Coupling::Ascan)
            .Parameter("kind", &AlgoParamEnvelope::kind, "", kAnyValue,
                       "\"magnitude\", \"phase\" in radians, or \"frequency\" in MHz")
            .Page("envelope"),
        Row<AlgoAutoGain>("lifts the late part of A-scans and levels them by their envelopes", 6, Coupling::Lane)
            .Parameter("MaxAmp", &AlgoParamAutoGain::MaxAmp, "", kFromZero,
                       "deep path: the strongest level over the one that weaker parts are brought to")
            .Parameter("HalfLenTriangle", &AlgoParamAutoGain::HalfLenTriangle, "sample", kFromZero,
                       "samples on each side over which an envelope is smoothed; 0: not at all")
            .Parameter("UseProgressiveGain", &AlgoParamAutoGain::UseProgressiveGain, "", kAnyValue,
                       "the deep path in place of the standard one")
            .TellsChannels()
            .UpToSamples(kLongestEnvelope)
            .Page("automatic-gain"),
        Row<AlgoTopography>("moves A-scans by the elevation of the ground, so that depth becomes elevation", 3,
                            Coupling::Block)
            .Parameter("datum", &AlgoParamTopography::datum, "m", kAnyValue,
                       "elevation at which time zero lies then; 0: the highest one")
            .Parameter("elevations", &AlgoParamTopography::elevations, "m", kAnyValue,
                       "of the ground: of each A-scan of the block, or fewer, evenly spread along every line")
            .Told(ElevationsOf)
            .Parameter("permittivity", &AlgoParamTopography::permittivity, "", kPermittivity, kGround)
            .Regrids(RegridBehind)
            .Page("topography"),
        Row<AlgoTimeGain>("multiplies every A-scan by a power of the time and a rate in dB/ns", 3, Coupling::Ascan)
            .Parameter("timeZero", &AlgoParamTimeGain::timeZero, "sample", kFromZero, "sample from which time counts")
            .Parameter("power", &AlgoParamTimeGain::power, "", kAnyValue,
                       "of the time in ns; 1 undoes spherical spreading")
            .Parameter("rate", &AlgoParamTimeGain::rate, "dB/ns", kAnyValue, "what the gain grows by")
            .Parameter("limit", &AlgoParamTimeGain::limit, "dB", kFromZero, "the largest gain")
            .Parameter("attenuation", &AlgoParamTimeGain::attenuation, "dB/m", kAnyValue,
                       "of the ground along the way of the wave; it adds to the rate")
            .Parameter("permittivity", &AlgoParamTimeGain::permittivity, "", kPermittivity, kGround)
            .Page("time-gain"),
        Row<AlgoAgc>("brings the strength in a sliding window of time to one level", 6, Coupling::Ascan)
            .Parameter("window", &AlgoParamAgc::window, "ns", kFromZero,
                       "length along the A-scan over which the strength is taken")
            .Parameter("level", &AlgoParamAgc::level, "", kAnyValue, "what the strength becomes")
            .Parameter("floor", &AlgoParamAgc::floor, "", kFromZero,
                       "share of the block's root mean square below which it isn't lifted to the level")
            .Parameter("envelope", &AlgoParamAgc::envelope, "", kAnyValue,
                       "the mean of the envelope in place of the root mean square")
            .Page("automatic-gain-control"),
        Row<AlgoDepthGaining>("multiplies every A-scan by a gain in two straight lines", 3, Coupling::Ascan)
            .Parameter("Start", &AlgoParamDepthGaining::Start, "sample", kFromZero, "where the first line begins")
            .Parameter("Apex", &AlgoParamDepthGaining::Apex, "sample", {-1, kAny},
                       "where the second line begins; -1 stands for End")
            .Parameter("End", &AlgoParamDepthGaining::End, "sample", {-1, kAny},
                       "where it ends; -1 stands for the last sample")
            .Parameter("StartGain", &AlgoParamDepthGaining::StartGain, "", kFromZero, "factor at Start and ahead of it")
            .Parameter("ApexGain", &AlgoParamDepthGaining::ApexGain, "", kFromZero, "factor at Apex")
            .Parameter("EndGain", &AlgoParamDepthGaining::EndGain, "", kFromZero, "factor at End and behind it")
            .Page("depth-gain"),
        Row<AlgoSetContrastBscan>("takes the mean near the surface off and scales B-scans for display", 4,
                                  Coupling::Lane)
            .Parameter("ContrastValue", &AlgoParamSetContrastBscan::ContrastValue, "", kAnyValue,
                       "for the host; the algorithm doesn't use it")
            .TellsChannels()
            .Page("contrast-and-normalisation"),
        Row<AlgoNormalizationBscan>("scales every B-scan by its calibration, or by its own range", 4, Coupling::Lane)
            .Parameter("Min", &AlgoParamNormalizationBscan::Min, "", kAnyValue, "what the smallest value becomes")
            .Parameter("Max", &AlgoParamNormalizationBscan::Max, "", kAnyValue,
                       "what the largest becomes; below Min it inverts the data")
            .Parameter("IgnoreCalibration", &AlgoParamNormalizationBscan::IgnoreCalibration, "", kAnyValue,
                       "the range of each B-scan in place of its calibration")
            .Page("contrast-and-normalisation"),
        Row<AlgoNormalizationCscan>("stretches the block to a range with one scale", 4, Coupling::Ascan)
            .Parameter("Min", &AlgoParamNormalizationCscan::Min, "", kAnyValue, "what the smallest value becomes")
            .Parameter("Max", &AlgoParamNormalizationCscan::Max, "", kAnyValue,
                       "what the largest becomes; below Min it inverts the data")
            .Couples([](const AlgoNormalizationCscan&) {
                return Coupling{Coupling::Block, 0, true};
            })
            .Page("contrast-and-normalisation"),
        SumUpRow<AlgoHorizontalSumUp>("merges neighbouring B-scans: strongest value or root mean square",
                                      Coupling::Neighbours, "B-scans that are merged")
            .Couples([](const AlgoHorizontalSumUp& sum) {
                return Coupling{Coupling::Neighbours, std::max(0, sum.GetParams().Thickness.value / 2), false};
            }),
        SumUpRow<AlgoVerticalSumUp>("merges each sample with those below it: strongest value or root mean square",
                                    Coupling::Ascan, "samples that are merged"),
        Row<AlgoBorderClearing>("keeps a box of the block and clears the rest", 3, Coupling::Block)
            .Parameter("borders", &AlgoParamBorderClearing::borders, "", kFromZero,
                       "A-scans (X), B-scans (Y) and samples (Z) at both ends that are cleared")
            .Parameter("ClearValue", &AlgoParamBorderClearing::ClearValue, "", kAnyValue, "what stands there then")
            .Couples([](const AlgoBorderClearing& clearing) {
                const BorderWidths& widths = clearing.GetParams().borders.value;
                return Coupling{widths.LowerY || widths.UpperY ? Coupling::Block : Coupling::Ascan, 0, false};
            })
            .Page("reduction"),
    };
}

} // namespace

const std::vector<AlgorithmInfo>& Algorithms() {
    static const std::vector<AlgorithmInfo> rows = Rows();
    return rows;
}

const AlgorithmInfo* FindAlgorithm(const std::string& name) {
    for (const AlgorithmInfo& row : Algorithms())
        if (row.name == name) return &row;
    return nullptr;
}

} // namespace TZM
