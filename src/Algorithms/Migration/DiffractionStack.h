#pragma once

#include <vector>

#include "Array/Array2D.h"

namespace TZM {

/// What decides the curves of a diffraction sum.
struct DiffractionSettings {
    int samples;       ///< of the input
    int firstSample;   ///< of the image, in samples of the input
    int ascans;        ///< the most that a B-scan sums over
    float deltaT;      ///< s
    float deltaX;      ///< m
    float offset;      ///< m between transmitter and receiver
    float tanAperture; ///< 0: no aperture
    int baseWidth;     ///< A-scans to each side
    int maxWidth;      ///< likewise; 0: no limit

    bool operator==(const DiffractionSettings& other) const;
};

/// The terms of every sample of an image: which input sample at which distance counts with which weight.
class DiffractionStack {
public:
    /// \param speed half the RMS speed at each sample, m/s. std::bad_alloc if there are more terms than an index
    /// counts.
    DiffractionStack(const DiffractionSettings& settings, const IPP::Array<float>& speed);

    bool Serves(const DiffractionSettings& wanted, const IPP::Array<float>& wantedSpeed) const;
    std::size_t Bytes() const;

    /// Floats of work memory for B-scans of up to so many A-scans.
    int WorkSize(int ascans) const;

    /// image(i, y) = the sum for sample firstSample + i of A-scan y, both over the same A-scans.
    void Sum(const IPP::Array2D<float>& bscan, const IPP::Array2D<float>& image, IPP::Array<float>& work) const;

private:
    struct Layout;

    DiffractionSettings settings;
    std::vector<float> speed;
    int samples, firstSample;
    int reach = 0;                   ///< largest distance of a term
    std::vector<std::size_t> starts; ///< of the terms of each image sample, and behind the last
    std::vector<int> distances;      ///< A-scans, ascending within a sample
    std::vector<int> sources;        ///< input sample
    std::vector<float> weights;
};

} // namespace TZM
