#pragma once

#include <memory>
#include <vector>

#include "Algorithms/Gain/GainProgression.h"
#include "Array/Array2D.h"
#include "Framework/Algo.h"
#include "Framework/AlgoJsonParamsBase.h"
#include "Framework/JsonKeyInfo.h"

namespace TZM {

class BlockStreams;
class EnvelopeRows;

struct TZM_EXPORT AlgoParamAutoGain : AlgoParamBase {
    AlgoParamAutoGain();
    AlgoParamAutoGain(bool enableLogging, int loggingLevel, float maxAmp, int halfLenTriangle, bool useProgressiveGain);

    Prm<float> MaxAmp;            ///< deep path: the strongest level over the one that weaker parts are brought to
    Prm<int> HalfLenTriangle;     ///< samples on each side over which an envelope is smoothed; 0: not at all
    Prm<bool> UseProgressiveGain; ///< the deep path instead of the standard one
};

/// Lifts the weak, late part of every A-scan and levels the A-scans of a B-scan against each other.
///
/// Standard path: a gain curve in dB over the samples, then one factor for each A-scan, which brings the peak of its
/// envelope to 1. Deep path: every sample is divided by the envelope at its place, smoothed by a triangle, never below
/// the raw one and limited to its peak over MaxAmp, and by MaxAmp; then a gain curve. The envelope is the magnitude of
/// the analytic signal. Curves are told apart for monostatic and bistatic B-scans.
///
/// Output: that of the input, 0 outside the valid A-scans. CalcError -11 if neither 5 nor 7 divides the number of
/// B-scans, before the output is touched; 99 "IPP::Exception::ippsHilbert_outOfRange32f" for A-scans of more than 1024
/// samples or with a value that isn't finite; -9 for a negative HalfLenTriangle where it is used; 99
/// "IPP::Exception::ippsZero_32f" if a dimension is 0.
class TZM_EXPORT AlgoAutoGain : public Algo<AlgoParamAutoGain> {
public:
    static const float defaultMaxAmp;             ///< 2.5
    static const int defaultHalfLenTriangle;      ///< 10
    static const bool defaultUseProgressiveGain;  ///< false
    static const bool defaultSmoothNormalization; ///< false
    static const bool defaultSmoothNormEnvelope;  ///< false
    // The curves, as JSON arrays of [position from 1, gain in dB].
    static const char* const defaultGainStdMono;
    static const char* const defaultGainStdBi;
    static const char* const defaultGainDeepMono;
    static const char* const defaultGainDeepBi;

    /// Tuning values, rebuilt from defaults and the section of the configuration document at every Execute.
    struct TZM_EXPORT InternalAlgoParams : AlgoJsonParamsBase<AlgoAutoGain> {
        explicit InternalAlgoParams(const AlgoAutoGain* algo); ///< the defaults
        InternalAlgoParams(const AlgoAutoGain* algo, const std::string& config);
        void Parse() override;

        GainProgression GainStdMono, GainStdBi, GainDeepMono, GainDeepBi;
        bool SmoothNormalization = defaultSmoothNormalization; ///< smooth the factors across the A-scans
        bool SmoothNormEnvelope = defaultSmoothNormEnvelope;   ///< smooth the envelope ahead of its peak
    };

    explicit AlgoAutoGain(const std::string& name = "AutoGain");
    void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const override;
    void ParseParamsFromJsonConfig() override;

    /// The keys of both groups, with their defaults.
    std::vector<JsonKeyInfo> DescribeKeys() const;

protected:
    const std::shared_ptr<InternalAlgoParams>& GetInternalAlgoParams() const { return internalAlgoParams; }
    void RefreshInternalAlgoParams() const;

    /// data[i] = sum over |d| < h of (h - |d|) / h^2 data[i + d], with h = halfLength and 0 beyond the edges. CalcError
    /// -9 if halfLength or length is below 1, -12 if length + 2 halfLength isn't an index.
    void TriangleSmoothing(float* data, int length, int halfLength) const;

    /// Multiplies each row of image, an A-scan, by the curve.
    void ApplyGain(IPP::Array2D<float, int>& image, const GainProgression& gain) const;

    // Levels of images whose rows are A-scans, from source to target of the same dimensions.

    /// One factor for each row, which brings the peak of its envelope to 1; 1 for a row of zeros. \param
    /// smoothNormalization low-pass of the factors across the rows \param smoothNormEnvelope triangle along the
    /// envelope
    void AscanEqualization(IPP::Array2D<float, int>& source, IPP::Array2D<float, int>& target, int halfLenTriangle,
                           bool smoothNormalization, bool smoothNormEnvelope) const;
    /// One factor for each row from its envelope behind a low-pass, the smaller of its means over 7 rows from it on and
    /// up to it. The last two arguments have no effect.
    void AmplitudeCorrectionStandardVersion(IPP::Array2D<float, int>& source, IPP::Array2D<float, int>& target,
                                            int halfLenTriangle, float maxAmp) const;
    /// One divisor for each sample: see the deep path. A maxAmp of 0 gives zeros.
    void AmplitudeCorrectionDeepVersion(IPP::Array2D<float, int>& source, IPP::Array2D<float, int>& target,
                                        int halfLenTriangle, float maxAmp) const;

private:
    // The same for a source, or of a target, that is multiplied by a curve.
    void Equalize(const IPP::Array2D<float>& source, const IPP::Array<float>& gain, const IPP::Array2D<float>& target,
                  int halfLenTriangle, bool smoothNormalization, bool smoothNormEnvelope, EnvelopeRows& envelopes,
                  const BlockStreams& streams) const;
    void DivideByEnvelope(const IPP::Array2D<float>& source, const IPP::Array<float>& gain,
                          const IPP::Array2D<float>& target, int halfLenTriangle, float maxAmp, EnvelopeRows& envelopes,
                          const BlockStreams& streams) const;

    mutable std::shared_ptr<InternalAlgoParams> internalAlgoParams;
};

} // namespace TZM
