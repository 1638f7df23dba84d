#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "Framework/AlgoBase.h"
#include "Framework/ImageProps.h"
#include "support/Noise.h"

/// A block of traces that owns its floats.
struct Block {
    explicit Block(const TZM::ImageProps& blockProps, float value = 0.f)
        : props(blockProps),
          data(static_cast<std::size_t>(props.samplesPerAscan) * props.ascansPerBscan * props.bscanCount, value) {}

    float& At(int s, int y, int z = 0) {
        return data[(static_cast<std::size_t>(z) * props.ascansPerBscan + y) * props.samplesPerAscan + s];
    }
    float At(int s, int y, int z = 0) const { return const_cast<Block*>(this)->At(s, y, z); }

    TZM::ImageProps props;
    std::vector<float> data;
};

/// Dimensions and valid ranges in a row, to be compared.
inline std::vector<int> Flat(const TZM::ImageProps& props) {
    std::vector<int> flat{props.samplesPerAscan, props.ascansPerBscan, props.bscanCount};
    for (const auto& range : props.bscanInfo) flat.insert(flat.end(), {range.firstValidIdx, range.validLen});
    return flat;
}

/// Runs an algorithm the way a host does.
template <class Algorithm>
Block Executed(const Algorithm& algorithm, const Block& in) {
    Block out(algorithm.GetAdjustedImageDimensions(in.props), NAN);
    algorithm.Execute(in.data.data(), in.props, out.data.data(), out.props);
    return out;
}

/// Values between offset - scale and offset + scale.
inline Block NoiseBlock(int samples, int ascans, int bscans, float scale = 1.f, float offset = 0.f) {
    Block block(TZM::ImageProps(samples, ascans, bscans));
    Noise noise;
    for (float& v : block.data) v = offset + scale * noise();
    return block;
}

constexpr double kSpeedOfLight = 3e8; // m/s

/// Two-way travel time in seconds per metre of depth.
inline double TwoWaySlowness(double permittivity) { return 2. * std::sqrt(permittivity) / kSpeedOfLight; }

/// Zero-phase wavelet of unit peak; frequency in hertz, t in seconds.
inline double Ricker(double t, double frequency) {
    const double a = std::pow(M_PI * frequency * t, 2);
    return (1. - 2. * a) * std::exp(-a);
}

/// A point at depth metres below A-scan `ascan`, recorded with one antenna as transmitter and receiver: a hyperbola
/// whose apex lies at the two-way travel time of the depth. Sampling is that of the global settings.
inline Block PointDiffractor(const TZM::ImageProps& props, double ascan, double depth, double permittivity,
                             double frequency = 1.2e9) {
    const auto& sampling = TZM::AlgoBase::GetGlobalSettings();
    Block record(props);
    for (int z = 0; z < props.bscanCount; ++z)
        for (int y = 0; y < props.ascansPerBscan; ++y) {
            const double offset = (y - ascan) * sampling.delta_x;
            const double range = std::hypot(offset, depth);
            const double time = range * TwoWaySlowness(permittivity);
            for (int s = 0; s < props.samplesPerAscan; ++s)
                record.At(s, y, z) = static_cast<float>(depth / range * Ricker(s * sampling.delta_t - time, frequency));
        }
    return record;
}

/// Where a B-scan is largest in magnitude.
struct PeakPosition {
    int sample = 0;
    int ascan = 0;
    float magnitude = 0.f;
};

inline PeakPosition Peak(const Block& block, int z = 0) {
    PeakPosition peak;
    for (int y = 0; y < block.props.ascansPerBscan; ++y)
        for (int s = 0; s < block.props.samplesPerAscan; ++s)
            if (std::abs(block.At(s, y, z)) > peak.magnitude) peak = {s, y, std::abs(block.At(s, y, z))};
    return peak;
}

/// Energy of a B-scan within `ascans` and `samples` of a position; of all of it without one.
inline double Energy(const Block& block, int z = 0, int sample = 0, int ascan = 0, int samples = 1 << 30,
                     int ascans = 1 << 30) {
    double energy = 0;
    for (int y = 0; y < block.props.ascansPerBscan; ++y)
        for (int s = 0; s < block.props.samplesPerAscan; ++s)
            if (std::abs(s - sample) <= samples && std::abs(y - ascan) <= ascans)
                energy += std::pow(block.At(s, y, z), 2);
    return energy;
}
