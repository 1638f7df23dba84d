// Configuration, calibration and overlays: any text, read by every algorithm.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "Framework/Logger.h"
#include "support/AllAlgorithms.h"
#include "support/FreshStatics.h"

using namespace TZM;

namespace {

struct Overlays : AlgoBase {
    using AlgoBase::ParseActiveOverlays;
};

/// Builds the tuning values of an algorithm that has some.
template <class Algorithm>
auto ReadTuning(const Algorithm& algorithm, const std::string& text, int)
    -> decltype(void(typename Algorithm::InternalAlgoParams(&algorithm, text))) {
    const typename Algorithm::InternalAlgoParams tuning(&algorithm, text);
}
template <class Algorithm>
void ReadTuning(const Algorithm&, const std::string&, long) {}

/// A reader whose section the text doesn't name, and nothing that is common to all, would parse it and leave.
template <class... Algorithms>
void ReadAs(const std::string& text) {
    const bool common = text.find("Global") != std::string::npos;
    const auto read = [&](auto algorithm) {
        if (!common && text.find(algorithm.GetLogPrefix()) == std::string::npos) return;
        algorithm.ParseParamsFromJsonConfig();
        ReadTuning(algorithm, text, 0);
    };
    (read(Algorithms()), ...);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    setenv("LC_ALL", "C", 1); // the log reads the user's locale from files
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const FreshStatics statics;
    const auto begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos || text[begin] != '{') {
        AlgoBase::SetCalibrationString(text);
        std::vector<AlgoBase::Overlay> layers;
        Overlays().ParseActiveOverlays(text, layers);
    } else if (AlgoBase::SetConfigString(text)) { // else every reader leaves at once
        ReadAs<AlgoBgRemoval, AlgoEigenBackground, AlgoSlidingBackground, AlgoDeconvolution, AlgoDipFilter,
               AlgoAutoGain, AlgoDepthGaining, AlgoSetContrastBscan, AlgoNormalizationBscan, AlgoNormalizationCscan,
               AlgoFkMigration, AlgoArrayMigration, AlgoFkMigration3D, AlgoKirchhoffMigration, AlgoGazdagMigration,
               AlgoResample, AlgoTimeZeroCrop, AlgoTimeZeroDetection, AlgoTopography, AlgoBistaticCorrection,
               AlgoBistaticReplacement, AlgoHorizontalSumUp, AlgoVerticalSumUp, AlgoBandPass, AlgoDewow, AlgoEnvelope,
               AlgoTimeGain, AlgoAgc>(text);
        try {
            AlgoBorderClearing().ParseParamsFromJsonConfig();
        } catch (const std::runtime_error&) { // of a value that can't be converted
        }
    }
    Logger::GetInstance()->ClearErrorList();
    return 0;
}
