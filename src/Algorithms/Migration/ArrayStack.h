#pragma once

#include <memory>
#include <vector>

#include "Array/AlignedIntVector.h"
#include "Array/Array.h"

namespace TZM {

/// What decides the curves of a sum over lines and A-scans.
struct ArrayStackSettings {
    int samples;        ///< of the image, from time zero on
    int farthest;       ///< A-scans between a point of the image and a term, at most
    double deltaT;      ///< s
    double deltaX;      ///< m between A-scans
    double lineSpacing; ///< m
    double opening;     ///< radius of the aperture at a depth of 1; 0: no limit
    int baseWidth;      ///< A-scans to each side that count at any depth,
    double baseAcross;  ///< m, in lines not farther than this
    bool antiAlias;     ///< triangles as wide as the moveout between neighbours
    bool corrected;     ///< weights of the integral, for records in differences
};

/// Distances between transmitter and receiver, in metres.
struct AntennaOffset {
    double along, across; ///< the scan
};

/// Depth rows of an input line as the sums read them, between zeros on both sides: row 0 holds zeros, rows 1 .. samples
/// the line, the rows behind them what stands under triangles.
struct ArrayRows {
    ArrayRows(int samples, int ascans, int timeZero);

    int Place(std::int64_t row) const; ///< of its first A-scan, in floats; std::bad_alloc if an index can't count it

    int samples, ascans, timeZero; ///< timeZero samples lie ahead of the image
    int stride;                    ///< floats of a row
};

/// The terms of all points of an image line from input lines of one kind at one distance: which input sample counts
/// with which weight and under which triangle, for each sample of the image and each distance in A-scans; both sides
/// are alike. kCurveRows neighbouring samples of the image stand together, as the kernel takes them.
class ArrayCurves {
public:
    /// An input sample under a triangle that falls to 0 at `width` samples on both sides, and its row.
    struct Triangle {
        int sample, width;
        std::int64_t row;
    };
    /// Terms of kCurveRows samples of the image, kCurveRows from distance 0 on, then those of the next distance.
    struct Group {
        int distances;
        const int* places;
        const float* weights;
    };

    /// Makes them anew, in the memory of those before.
    /// \param across m between the lines. \param speed half the RMS speed at each sample of the image, m/s
    void Make(const ArrayStackSettings& settings, const ArrayRows& rows, const IPP::Array<float>& speed,
              const AntennaOffset& offset, double across);

    bool IsEmpty() const { return weights.empty(); }
    int FirstSample() const { return firstSample; } ///< of the line that is read, and the last one
    int LastSample() const { return lastSample; }
    const std::vector<Triangle>& Triangles() const { return triangles; } ///< wider than a sample
    int Groups() const { return static_cast<int>(starts.size()) - 1; }
    Group At(int group) const;

private:
    template <class T>
    using Aligned = std::vector<T, IPP::AlignedAllocator<T>>;
    void AddSample(const ArrayStackSettings& settings, int sample, double speed, const AntennaOffset& offset,
                   double across, std::size_t start);
    void PlaceTerms(const ArrayRows& rows, int imageSamples);

    std::vector<std::size_t> starts; ///< of the groups
    Aligned<int> places;
    Aligned<float> weights;
    std::vector<Triangle> triangles;
    int firstSample = 0, lastSample = 0, widest = 1;
    std::vector<double> times, moveouts; ///< samples
};

/// Sums lines along curves, in depth rows. Work memory of one thread.
class ArrayStack {
public:
    explicit ArrayStack(const ArrayRows& layout) : rows(layout) {}

    /// image(x, i) += the sum for sample i at A-scan x over one line, or over two of them at once. All are depth rows
    /// of as many elements as there are A-scans. \param second null, or a second line
    void Add(const ArrayCurves& curves, const float* first, const float* second, float* image);

private:
    void Load(const ArrayCurves& curves, const float* first, const float* second);

    const ArrayRows rows;
    std::unique_ptr<IPP::Array<float>> work;
};

} // namespace TZM
