#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "Array/Simd/Dispatch.h"

/// The instruction sets of this machine, for TEST_P.
inline std::vector<IPP::Simd::Level> SimdLevels() {
    std::vector<IPP::Simd::Level> levels;
    for (const auto level : {IPP::Simd::Level::Baseline, IPP::Simd::Level::Avx2, IPP::Simd::Level::Avx512})
        if (level <= IPP::Simd::BestLevel()) levels.push_back(level);
    return levels;
}

/// Runs the test's code at the level of its parameter.
class AtSimdLevel : public ::testing::TestWithParam<IPP::Simd::Level> {
protected:
    void SetUp() override { IPP::Simd::SetActiveLevel(GetParam()); }
    void TearDown() override { IPP::Simd::SetActiveLevel(IPP::Simd::BestLevel()); }
};

#define TZM_INSTANTIATE_AT_SIMD_LEVELS(suite)                                                                          \
    INSTANTIATE_TEST_SUITE_P(Levels, suite, ::testing::ValuesIn(SimdLevels()),                                         \
                             [](const auto& level) { return std::string(IPP::Simd::Name(level.param)); })
