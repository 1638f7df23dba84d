#pragma once

#include <cstdint>
#include <vector>

/// Repeatable values between -1 and 1, the same on every platform.
class Noise {
public:
    explicit Noise(std::uint64_t seed = 1) : state(seed * 0x9E3779B97F4A7C15u + 1) {}
    float operator()() {
        state = state * 6364136223846793005u + 1442695040888963407u;
        return static_cast<float>(static_cast<double>(state >> 40) / (1 << 23) - 1.);
    }
    std::vector<float> Floats(std::size_t count) {
        std::vector<float> values(count);
        for (float& v : values) v = (*this)();
        return values;
    }

private:
    std::uint64_t state;
};
