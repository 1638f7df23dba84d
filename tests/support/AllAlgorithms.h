#pragma once

#include <memory>

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
#include "support/Scenes.h"

namespace TZM {

inline constexpr double kAntennaOffset = 0.3; // metres
inline constexpr double kPermittivity = 6;
inline constexpr int kReflectorSample = 200; // two-way travel time of a single antenna, in samples
inline constexpr int kLead = 3; // samples from the emission to the centre of the direct wave's negative lobe

// An array over a flat reflector: each pair of antennas starts at a sample of its own; a bistatic one, at the mean of
// its neighbours, hears everything later by its antenna offset, and at half the amplitude.
inline Block ArrayScene(int channels, int bscans) {
    const int starts[] = {30, 36, 27, 33};
    const double offset = kAntennaOffset * std::sqrt(kPermittivity) / kSpeedOfLight / 5e-11; // samples
    Block scene(ImageProps(512, 12, bscans));
    Noise noise(2);
    for (int z = 0; z < bscans; ++z) {
        const int c = z % channels;
        const bool bistatic = c % 2 == 1;
        const int start = bistatic ? (starts[c / 2] + starts[c / 2 + 1]) / 2 : starts[c / 2];
        const double direct = start + kLead + (bistatic ? offset : 0);
        const double reflected = start + (bistatic ? std::hypot(kReflectorSample, offset) : kReflectorSample);
        for (int y = 0; y < 12; ++y)
            for (int s = 0; s < 512; ++s)
                scene.At(s, y, z) =
                    20 * noise() + (bistatic ? 0.5 : 1.) * (-20000 * std::exp(-std::pow((s - direct) / 2, 2)) +
                                                            3000 * Ricker((s - reflected) * 5e-11, 6e8));
    }
    return scene;
}

struct Row {
    std::shared_ptr<AlgoBase> algorithm;
    int reached; // A-scans of 5 x 12 that a NaN in one of a monostatic B-scan reaches; -1: it is refused, or an extreme
    bool channels;
    std::string noBscans, noAscans, noSamples; // what it says to such a block
};

inline std::vector<Row> AllAlgorithms() {
    auto replacement = std::make_shared<AlgoBistaticReplacement>();
    replacement->GetParams().enabled = true;
    auto mean = std::make_shared<AlgoBgRemoval>();
    mean->GetParams().algorithm = static_cast<AlgoParamBgRemoval::AlgoType>(4);
    auto sliding = std::make_shared<AlgoSlidingBackground>();
    sliding->GetParams().window = 1.f; // the whole line
    auto resample = std::make_shared<AlgoResample>();
    resample->GetParams().deltaT = 0.04f;
    auto topography = std::make_shared<AlgoTopography>();
    topography->GetParams().elevations = std::vector<float>{10.f, 10.2f};
    auto depth = std::make_shared<AlgoDepthGaining>();
    depth->Setup(AlgoParamDepthGaining(true, 1, 0, -1, -1, 1, 2, 3));
    auto horizontal = std::make_shared<AlgoHorizontalSumUp>();
    horizontal->Setup(AlgoParamHorizontalSumUp(true, 1, 3, false));
    auto vertical = std::make_shared<AlgoVerticalSumUp>();
    vertical->Setup(AlgoParamVerticalSumUp(true, 1, 3, false));
    auto clearing = std::make_shared<AlgoBorderClearing>();
    clearing->GetParams().borders = BorderWidths{0, 0, 0, 0, 10, 0};
    auto band = std::make_shared<AlgoBandPass>();
    band->GetParams().low = 300.f;
    auto agc = std::make_shared<AlgoAgc>();
    agc->GetParams().window = 100.f; // the whole A-scan
    agc->GetParams().floor = 0.f;
    const std::string copy = "99/-6 IPP::Exception::ippsCopy_32f", range = "99/-6 IPP::Exception::ippsMinMax_32f",
                      bounds = "99/-2 Index exceeds IPP::Array3D bounds", zero = "99/-6 IPP::Exception::ippsZero_32f",
                      set = "99/-6 IPP::Exception::ippsSet_32f";
    return {{std::make_shared<AlgoAscanOffsetRemoval>(), 1, false, copy, copy, copy},
            {std::make_shared<AlgoTimeZeroDetection>(), 1, true, copy, copy, copy},
            {std::make_shared<AlgoTimeZeroCrop>(), 1, false, copy, copy, copy},
            {resample, 1, false, copy, copy, copy},
            {topography, 1, false, copy, copy, copy},
            {std::make_shared<AlgoBistaticCorrection>(), 1, true, copy, copy, copy},
            {replacement, 1, true, copy, copy, copy},
            {std::make_shared<AlgoEnergyCorrection>(), 1 + 2 * 12, true, copy, copy, copy}, // its neighbours
            {mean, 12, true, copy, copy, copy},
            {sliding, 12, false, copy, copy, copy},
            {std::make_shared<AlgoEigenBackground>(), 12, false, copy, copy, copy},
            {std::make_shared<AlgoDeconvolution>(), 1, false, copy, copy, copy},
            {std::make_shared<AlgoDipFilter>(), 12, false, copy, copy, copy},
            {std::make_shared<AlgoAutoGain>(), -1, true, zero, zero, zero},
            {depth, 1, false, copy, copy, copy},
            {std::make_shared<AlgoSetContrastBscan>(), 1, true, zero, zero, zero},
            {std::make_shared<AlgoNormalizationBscan>(), -1, false, "none", "none", range},
            {std::make_shared<AlgoNormalizationCscan>(), -1, false, range, range, range},
            {horizontal, 3 * 1, false, zero, zero, zero},
            {vertical, 1, false, zero, zero, zero},
            {clearing, 1, false, set, set, set},
            {std::make_shared<AlgoFkMigration>(), 12, false, bounds, bounds, bounds},
            {std::make_shared<AlgoGazdagMigration>(), 12, false, bounds, bounds, bounds},
            {std::make_shared<AlgoKirchhoffMigration>(), 12, false, zero, zero, zero},
            {std::make_shared<AlgoArrayMigration>(), 5 * 12, false, zero, zero, zero},
            {std::make_shared<AlgoFkMigration3D>(), 5 * 12, false, bounds, bounds, bounds},
            {std::make_shared<AlgoMig2Post>(), 1, false, range, range, "bad_alloc"},
            {std::make_shared<AlgoEnvelope>(), 1, false, copy, copy, copy},
            {std::make_shared<AlgoDewow>(), 1, false, copy, copy, copy},
            {band, 1, false, copy, copy, copy},
            {std::make_shared<AlgoTimeGain>(), 1, false, copy, copy, copy},
            {agc, 1, false, copy, copy, copy}};
}

} // namespace TZM
