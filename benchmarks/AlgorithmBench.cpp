// Every algorithm on blocks of the size of a small line, an array's line and a survey, and the chains that end in a
// picture, beside a copy of the block.
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
#include "Algorithms/Migration/AlgoFkMigration.h"
#include "Algorithms/Migration/AlgoGazdagMigration.h"
#include "Algorithms/Migration/AlgoKirchhoffMigration.h"
#include "Algorithms/Migration/AlgoMig2Post.h"
#include "Algorithms/Preparation/AlgoAscanOffsetRemoval.h"
#include "Algorithms/Preparation/AlgoBistaticCorrection.h"
#include "Algorithms/Preparation/AlgoBistaticReplacement.h"
#include "Algorithms/Preparation/AlgoResample.h"
#include "Algorithms/Preparation/AlgoTimeZeroDetection.h"
#include "Algorithms/Preparation/AlgoTopography.h"
#include "Algorithms/Reduction/AlgoBorderClearing.h"
#include "Algorithms/Reduction/AlgoHorizontalSumUp.h"
#include "Algorithms/Reduction/AlgoVerticalSumUp.h"
#include "Measure.h"

#include <vector>

using namespace TZM;

namespace {

using Chain = std::vector<std::pair<std::string, std::shared_ptr<AlgoBase>>>;

std::shared_ptr<AlgoBase> Removal(AlgoParamBgRemoval::AlgoType type) {
    return With<AlgoBgRemoval>(AlgoParamBgRemoval(false, 1, 20, type));
}

std::shared_ptr<AlgoBase> Clearing() {
    auto clearing = std::make_shared<AlgoBorderClearing>();
    clearing->GetParams().borders = BorderWidths{10, 10, 0, 1, 16, 20};
    return clearing;
}

Chain Algorithms() {
    using Type = AlgoParamBgRemoval::AlgoType;
    return {
        {"AscanOffsetRemoval", std::make_shared<AlgoAscanOffsetRemoval>()},
        {"TimeZeroDetection", std::make_shared<AlgoTimeZeroDetection>()},
        {"BistaticCorrection", std::make_shared<AlgoBistaticCorrection>()},
        {"BistaticReplacement", With<AlgoBistaticReplacement>(AlgoParamBistaticReplacement(true, 1, 64, 16, true))},
        {"EnergyCorrection", std::make_shared<AlgoEnergyCorrection>()},
        {"BgRemovalMean", Removal(static_cast<Type>(4))},
        {"BgRemovalMedian", Removal(Type::Median)},
        {"BgRemovalHighPass", Removal(Type::HighPass)},
        {"BgRemovalSurface", Removal(Type::Surface)},
        {"BgRemovalClassify", Removal(Type::Classify)},
        {"SlidingBackgroundMean", With<AlgoSlidingBackground>(AlgoParamSlidingBackground(true, 1, 0.25f, false))},
        {"SlidingBackgroundMedian", With<AlgoSlidingBackground>(AlgoParamSlidingBackground(true, 1, 0.25f, true))},
        {"ResampleInTime", With<AlgoResample>(AlgoParamResample(true, 1, 0.07f, 0.f))},
        {"ResampleAlongTheScan", With<AlgoResample>(AlgoParamResample(true, 1, 0.f, 0.007f))},
        {"Topography",
         With<AlgoTopography>(AlgoParamTopography(true, 1, 1.f, {1.f, 1.05f, 1.02f}, 6.f))}, // no longer than the input
        {"EigenBackground", With<AlgoEigenBackground>(AlgoParamEigenBackground(true, 1, 2, 0.f, false))},
        {"EigenBackgroundEnergy", With<AlgoEigenBackground>(AlgoParamEigenBackground(true, 1, 0, 0.5f, false))},
        {"Deconvolution", std::make_shared<AlgoDeconvolution>()},
        {"DipFilter", std::make_shared<AlgoDipFilter>()},
        {"AutoGainStandard", With<AlgoAutoGain>(AlgoParamAutoGain(true, 1, 2.5f, 10, false))},
        {"AutoGainDeep", With<AlgoAutoGain>(AlgoParamAutoGain(true, 1, 2.5f, 10, true))},
        {"DepthGaining", With<AlgoDepthGaining>(AlgoParamDepthGaining(true, 1, 10, 200, -1, 1, 2, 3))},
        {"SetContrastBscan", std::make_shared<AlgoSetContrastBscan>()},
        {"NormalizationBscan", std::make_shared<AlgoNormalizationBscan>()},
        {"NormalizationCscan", std::make_shared<AlgoNormalizationCscan>()},
        {"FkMigration", std::make_shared<AlgoFkMigration>()},
        {"KirchhoffMigration", std::make_shared<AlgoKirchhoffMigration>()},
        {"GazdagMigration", std::make_shared<AlgoGazdagMigration>()},
        {"GazdagMigrationFFT", With<AlgoGazdagMigration>(AlgoParamGazdagMigration(true, 1, 1, 6.f, "", true, false))},
        {"Dewow", With<AlgoDewow>(AlgoParamDewow(true, 1, 2.f, false))},
        {"DewowMedian", With<AlgoDewow>(AlgoParamDewow(true, 1, 2.f, true))},
        {"BandPass", With<AlgoBandPass>(AlgoParamBandPass(true, 1, 400.f, 1600.f, 4))},
        {"TimeGain", std::make_shared<AlgoTimeGain>()},
        {"Agc", With<AlgoAgc>(AlgoParamAgc(true, 1, 2.f, 1.f, 0.01f, false))},
        {"AgcEnvelope", With<AlgoAgc>(AlgoParamAgc(true, 1, 2.f, 1.f, 0.01f, true))},
        {"Mig2Post", std::make_shared<AlgoMig2Post>()},
        {"Envelope", std::make_shared<AlgoEnvelope>()},
        {"EnvelopePhase", With<AlgoEnvelope>(AlgoParamEnvelope(true, 1, AlgoParamEnvelope::Phase))},
        {"EnvelopeFrequency", With<AlgoEnvelope>(AlgoParamEnvelope(true, 1, AlgoParamEnvelope::Frequency))},
        {"HorizontalSumUp5Max", With<AlgoHorizontalSumUp>(AlgoParamHorizontalSumUp(true, 1, 5, true))},
        {"HorizontalSumUp5Rms", With<AlgoHorizontalSumUp>(AlgoParamHorizontalSumUp(true, 1, 5, false))},
        {"VerticalSumUp8Max", With<AlgoVerticalSumUp>(AlgoParamVerticalSumUp(true, 1, 8, true))},
        {"VerticalSumUp8Rms", With<AlgoVerticalSumUp>(AlgoParamVerticalSumUp(true, 1, 8, false))},
        {"VerticalSumUp64Max", With<AlgoVerticalSumUp>(AlgoParamVerticalSumUp(true, 1, 64, true))},
        {"VerticalSumUp64Rms", With<AlgoVerticalSumUp>(AlgoParamVerticalSumUp(true, 1, 64, false))},
        {"BorderClearing", Clearing()}};
}

/// From counts to a picture, with one of the migrations.
Chain FromCountsToPicture(const std::shared_ptr<AlgoBase>& migration) {
    return {{"", std::make_shared<AlgoAscanOffsetRemoval>()},
            {"", std::make_shared<AlgoTimeZeroDetection>()},
            {"", std::make_shared<AlgoEnergyCorrection>()},
            {"", std::make_shared<AlgoBistaticCorrection>()},
            {"", Removal(AlgoParamBgRemoval::AlgoType::Surface)},
            {"", migration},
            {"", std::make_shared<AlgoEnvelope>()},
            {"", With<AlgoDepthGaining>(AlgoParamDepthGaining(true, 1, 0, -1, -1, 1, 4, 4))},
            {"", std::make_shared<AlgoNormalizationCscan>()}};
}

void Run(benchmark::State& state, const Chain& chain, const ImageProps& first, int threads) {
    Blocks& b = BlocksOf(first);
    IPP::Array3D<float> third(first.samplesPerAscan, first.ascansPerBscan, first.bscanCount);
    omp_set_num_threads(threads);
    Measure(state, [&] {
        ImageProps props = first;
        const float* in = b.in.data;
        float *out = b.out.data, *next = third.data;
        for (const auto& [name, algorithm] : chain) {
            const auto outProps = algorithm->GetAdjustedImageDimensions(props);
            algorithm->Execute(in, props, out, outProps);
            in = out;
            std::swap(out, next);
            props = outProps;
        }
    });
    omp_set_num_threads(1);
}

void AddChain(const std::string& name, const Chain& chain, const ImageProps& props) {
    for (const int threads : {1, 2})
        AddAtLevels(name + SizeOf(props) + "/threads:" + std::to_string(threads),
                    [=](benchmark::State& state) { Run(state, chain, props, threads); });
}

bool RegisterAll() {
    omp_set_num_threads(1);
    for (const ImageProps& props : {ImageProps(256, 100, 5), ImageProps(512, 300, 35), ImageProps(1024, 1000, 35)}) {
        AddMemcpy(props);
        for (const auto& step : Algorithms()) AddChain(step.first, {step}, props);
        AddChain("ChainFk", FromCountsToPicture(std::make_shared<AlgoFkMigration>()), props);
        AddChain("ChainKirchhoff", FromCountsToPicture(std::make_shared<AlgoKirchhoffMigration>()), props);
        AddChain("ChainGazdag", FromCountsToPicture(std::make_shared<AlgoGazdagMigration>()), props);
    }
    return true;
}

const bool registered = RegisterAll();

} // namespace
