// Any text as configuration and calibration, and short runs of every algorithm with what it gave.
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>

#include "Framework/CalcError.h"
#include "Framework/Logger.h"
#include "support/AllAlgorithms.h"
#include "support/FreshStatics.h"

using namespace TZM;

namespace {

/// Runs on a block of a few samples; a transform of any size that a document asks for isn't wanted here.
void RunShortly(const AlgoBase& algorithm) {
    if (dynamic_cast<const AlgoFkMigration*>(&algorithm) || dynamic_cast<const AlgoFkMigration3D*>(&algorithm)) return;
    Block in(ImageProps(24, 6, 5), 100.f);
    const ImageProps props = algorithm.GetAdjustedImageDimensions(in.props);
    constexpr int kMostLines = 100;
    if (props.bscanCount > kMostLines) return;
    Block out(props);
    for (std::size_t i = 0; i < in.data.size(); i += 7) in.data[i] = static_cast<float>(i);
    try {
        algorithm.Execute(in.data.data(), in.props, out.data.data(), props);
    } catch (const Exception::CalcError&) {
    } catch (const std::bad_alloc&) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const FreshStatics statics;
    AlgoBase::SetConfigString(text);
    AlgoBase::SetCalibrationString(text);
    for (const Row& row : AllAlgorithms()) {
        row.algorithm->ParseParamsFromJsonConfig();
        const ImageProps props = row.algorithm->GetAdjustedImageDimensions(ImageProps(24, 6, 5));
        if (props.samplesPerAscan >= 0 && props.samplesPerAscan <= 24) RunShortly(*row.algorithm);
    }
    Logger::GetInstance()->ClearErrorList();
    return 0;
}
