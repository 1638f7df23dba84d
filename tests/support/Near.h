#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

/// Comparisons are written !(error <= limit), so that a NaN fails.

constexpr double kFloatEpsilon = std::numeric_limits<float>::epsilon();

template <class Actual, class Expected>
::testing::AssertionResult AllNear(const Actual& actual, const Expected& expected, std::size_t count, double limit) {
    for (std::size_t i = 0; i < count; ++i) {
        const double error = std::abs(static_cast<double>(actual[i]) - static_cast<double>(expected[i]));
        if (!(error <= limit))
            return ::testing::AssertionFailure() << "element " << i << " is " << actual[i] << ", expected "
                                                 << expected[i] << ", error " << error << " above " << limit;
    }
    return ::testing::AssertionSuccess();
}

/// Expects an exception of type E and gives what the reader makes of it.
template <class E, class Call, class Reader>
auto Caught(Call&& call, Reader&& reader) -> decltype(reader(std::declval<const E&>())) {
    try {
        call();
    } catch (const E& e) {
        return reader(e);
    } catch (...) {
        ADD_FAILURE() << "another exception than expected";
        return {};
    }
    ADD_FAILURE() << "no exception";
    return {};
}
