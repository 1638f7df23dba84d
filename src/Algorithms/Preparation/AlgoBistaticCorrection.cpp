#include "Algorithms/Preparation/AlgoBistaticCorrection.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "Array/Simd/Dispatch.h"
#include "Framework/Channels.h"
#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const int AlgoBistaticCorrection::defaultTimeZero = 1;
const float AlgoBistaticCorrection::defaultPermittivity = 6.0f;
const float AlgoBistaticCorrection::defaultAntennaOffset = 0.0461f;

AlgoParamBistaticCorrection::AlgoParamBistaticCorrection()
    : AlgoParamBistaticCorrection(true, 1, AlgoBistaticCorrection::defaultTimeZero,
                                  AlgoBistaticCorrection::defaultPermittivity,
                                  AlgoBistaticCorrection::defaultAntennaOffset) {}

AlgoParamBistaticCorrection::AlgoParamBistaticCorrection(bool logging, int level, int timeZeroSamples,
                                                         float groundPermittivity, float offset)
    : AlgoParamBase(logging, level), timeZero(timeZeroSamples, &prmListener),
      permittivity(groundPermittivity, &prmListener), antennaOffset(offset, &prmListener) {}

AlgoBistaticCorrection::AlgoBistaticCorrection(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoParamBistaticCorrection>>& Sections() {
    using P = AlgoParamBistaticCorrection;
    static const std::vector<JsonSection<P>> sections{
        {{"Global"}, {Integral("TimeZero", &P::timeZero), Real("Permittivity", &P::permittivity)}},
        {{kOwnSection}, {Real("AntennaOffset", &P::antennaOffset)}}};
    return sections;
}

} // namespace

void AlgoBistaticCorrection::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoBistaticCorrection::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoBistaticCorrection::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoParamBistaticCorrection());
}

namespace {

/// t[k]: the zero-offset sample, as a real number, to which input sample k belongs. Never falls with k.
std::vector<double> MoveoutTable(int samples, double dt, double d, double v) {
    std::vector<double> t(static_cast<std::size_t>(samples));
    for (int i = 0; i < samples; ++i) {
        const double k = i; // the square of an int overflows
        const double y = k * k * dt * dt - d * d / (v * v);
        t[static_cast<std::size_t>(i)] = y < 0. ? 0. : std::sqrt(y) / dt;
    }
    return t;
}

/// Where the output samples are read: sample k lies weights[k] behind input sample j[k] - 1, on the way to j[k], with
/// j[k] the first one that isn't earlier. As j grows nearly as fast as k, the samples with the same j - k are long
/// runs, whose input is contiguous.
class Resampling {
public:
    explicit Resampling(const std::vector<double>& t) : samples(static_cast<int>(t.size())) {
        weights.reserve(t.size());
        for (int k = 0, j = 0; k < samples; ++k) {
            while (j < samples && t[Index(j)] < k) ++j;
            if (j == samples) break; // from behind the A-scan
            weights.push_back(Weight(t, k, j));
            if (j == 0)
                head = k + 1;
            else if (!runs.empty() && runs.back().lead == j - k)
                runs.back().end = k + 1;
            else
                runs.push_back({k, k + 1, j - k});
        }
    }

    void Read(const float* in, float* out) const {
        for (int k = 0; k < head; ++k)
            out[k] = 0.f + weights[Index(k)] * in[0]; // nothing is recorded ahead of sample 0
        for (const Run& run : runs)
            IPP::Simd::Active().interpolate(in + run.first + run.lead - 1, &weights[Index(run.first)], out + run.first,
                                            run.end - run.first);
        std::fill(out + weights.size(), out + samples, 0.f);
    }

private:
    struct Run {
        int first; ///< output sample
        int end;   ///< the one behind its last
        int lead;  ///< j - k
    };

    static std::size_t Index(int i) { return static_cast<std::size_t>(i); }

    static float Weight(const std::vector<double>& t, int k, int j) {
        if (j > 0 && t[Index(j)] > t[Index(j - 1)])
            return static_cast<float>((k - t[Index(j - 1)]) / (t[Index(j)] - t[Index(j - 1)]));
        return t[Index(j)] > 0. ? static_cast<float>(k / t[Index(j)]) : 0.f;
    }

    int samples;
    int head = 0; ///< samples with j = 0
    std::vector<float> weights;
    std::vector<Run> runs;
};

} // namespace

void AlgoBistaticCorrection::Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps&) const {
    RunExecute([&] {
        const float permittivity = params.permittivity;
        if (!(permittivity > 0.f)) throw Exception::CalcError(-10, "TZM::Exception::permittivitySmallerEqualZero");
        const int channels = GetChannelCount(inProps.bscanCount);
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f"); // as a copy of the whole block would

        const double v = 3e8 / std::sqrt(static_cast<double>(permittivity));
        const Resampling resampling(MoveoutTable(src.dim0, globalSettings.delta_t, params.antennaOffset, v));
        const BlockStreams streams(dst);
        ParallelFor(dst.dim2, [&](int i) {
            if (!IsBistatic(i, channels)) return streams.Copy(src.Slice(i), dst.Slice(i));
            for (int y = 0; y < dst.dim1; ++y) resampling.Read(src.Row(y, i).data, dst.Row(y, i).data);
        });
    });
}

} // namespace TZM
