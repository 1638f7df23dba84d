#include "Algorithms/Gain/AlgoNormalizationBscan.h"

#include <array>
#include <cmath>
#include <stdexcept>

#include "Algorithms/Gain/Stretch.h"
#include "Framework/private/BlockParts.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const float AlgoNormalizationBscan::defaultMin = -1.0f;
const float AlgoNormalizationBscan::defaultMax = 1.0f;
const bool AlgoNormalizationBscan::defaultIgnoreCalibration = false;

AlgoParamNormalizationBscan::AlgoParamNormalizationBscan()
    : AlgoParamNormalizationBscan(true, 1, AlgoNormalizationBscan::defaultMin, AlgoNormalizationBscan::defaultMax,
                                  AlgoNormalizationBscan::defaultIgnoreCalibration) {}

AlgoParamNormalizationBscan::AlgoParamNormalizationBscan(bool logging, int level, float min, float max, bool ignore)
    : AlgoParamBase(logging, level), Min(min, &prmListener), Max(max, &prmListener),
      IgnoreCalibration(ignore, &prmListener) {}

AlgoNormalizationBscan::AlgoNormalizationBscan(const std::string& name) : Algo(name) {}

namespace {

const std::vector<JsonSection<AlgoNormalizationBscanDevice>>& Sections() {
    using D = AlgoNormalizationBscanDevice;
    static const std::vector<JsonSection<D>> sections{
        {{"Global", "BistaticOptions"}, {Boolean("UseTX1RX2", &D::UseTX1RX2), Boolean("UseTX3RX2", &D::UseTX3RX2)}},
        {{"Global"}, {Integer("ADBitResolution", &D::ADBitResolution, 14, 32)}}};
    return sections;
}

/// The factors of a calibration document.
struct CalibrationFactors {
    enum Pair { TX3RX3, TX3RX2, TX3RX1, TX2RX3, TX2RX2, TX2RX1, TX1RX3, TX1RX2, TX1RX1 };
    static constexpr std::array<const char*, 9> kNames = {"TX3RX3", "TX3RX2", "TX3RX1", "TX2RX3", "TX2RX2",
                                                          "TX2RX1", "TX1RX3", "TX1RX2", "TX1RX1"};
    std::array<float, 9> factors;
    bool valid = false; ///< the document counts

    explicit CalibrationFactors(const std::string& document) {
        factors.fill(1.f);
        Json::Value root;
        if (document.empty() || !ParseJsonDocument(document, root)) return;
        try {
            const Json::Value* rf = Object(&root, "RF");
            if (!rf) return;
            for (std::size_t i = 0; i < kNames.size(); ++i) {
                const Json::Value* pair = Object(rf, kNames[i]);
                const Json::Value* factor = pair ? FindValue(*pair, "Factor") : nullptr;
                if (factor && IsOfKind(*factor, JsonKind::Real)) factors[i] = static_cast<float>(AsDouble(factor));
            }
            valid = true;
        } catch (const std::runtime_error& failure) {
            LogErrorFromRegion(std::string("AlgoNormalizationBscan / parse calibration: JSON Exception - ") +
                               failure.what());
        }
    }

private:
    /// The object of that name; null if there is none.
    static const Json::Value* Object(const Json::Value* parent, const char* name) {
        const Json::Value* found = FindValue(*parent, name);
        if (!found || found->isNull()) return nullptr;
        if (!found->isObject()) throw std::runtime_error(std::string(name) + " isn't an object");
        return found;
    }
};

} // namespace

void AlgoNormalizationBscan::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoNormalizationBscan::ParseParamsFromJsonConfig", [&](const Json::Value& root) {
        ReadSections(root, name, Sections(), static_cast<AlgoNormalizationBscanDevice&>(*this));
    });
}

std::vector<JsonKeyInfo> AlgoNormalizationBscan::DescribeKeys() const {
    return TZM::DescribeKeys(name, Sections(), AlgoNormalizationBscanDevice());
}

void AlgoNormalizationBscan::Execute(const float* in, const ImageProps& inProps, float* out,
                                     const ImageProps& outProps) const {
    ExecutePart(in, inProps, WholeBlock(inProps), out, outProps);
}

void AlgoNormalizationBscan::ExecutePart(const float* in, const ImageProps& inProps, const BlockPart& part, float* out,
                                         const ImageProps&) const {
    RunExecute([&] {
        RequirePart(part, inProps);
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        const CalibrationFactors calibration(GetCalibrationString());
        const bool calibrated = calibration.valid && !params.IgnoreCalibration;
        using C = CalibrationFactors;
        const C::Pair pairs[] = {C::TX1RX1, UseTX1RX2 ? C::TX1RX2 : C::TX2RX1, C::TX2RX2,
                                 UseTX3RX2 ? C::TX3RX2 : C::TX2RX3, C::TX3RX3};
        const float fullScale = std::ldexp(1.f, ADBitResolution - 1), min = params.Min, max = params.Max;
        const BlockStreams streams(dst);
        ParallelFor(dst.dim2, [&](int i) {
            if (ValidRange(inProps, i).validLen == 0) return;
            RefuseEmpty(src, calibrated ? "IPP::Exception::ippsCopy_32f" : "IPP::Exception::ippsMinMax_32f");
            const ValidAscans valid(src, dst, inProps, i);
            if (calibrated)
                streams.Scale(valid.src, calibration.factors[pairs[(part.firstBscan + i) % 5]] / fullScale, valid.dst);
            else if (const Stretch stretch(valid.src, min, max); stretch.flat)
                dst.Slice(i).Zero();
            else
                stretch.Apply(valid.src, valid.dst, streams);
        });
    });
}

} // namespace TZM
