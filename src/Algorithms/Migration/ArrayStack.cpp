#include "Algorithms/Migration/ArrayStack.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <new>

#include "Array/Simd/Dispatch.h"

namespace TZM {

using IPP::Simd::kCurveColumns;
using IPP::Simd::kCurveRows;

namespace {

/// Distances of which sample i may have terms: those within the aperture whose shortest way ends within the record.
int Reach(const ArrayStackSettings& s, int i, double y, double dx, double across) {
    const auto within = [&](double radius) {
        return radius > y ? std::min(std::sqrt(radius * radius - y * y) / dx, double(s.farthest)) : -1.;
    };
    double aperture = s.farthest;
    if (s.opening > 0.) {
        aperture = within(i * s.opening);
        if (across <= s.baseAcross) aperture = std::max(aperture, double(std::min(s.baseWidth, s.farthest)));
    }
    const double record = within(std::sqrt(double(s.samples) * s.samples - double(i) * i));
    return static_cast<int>(std::floor(std::min(aperture, record)));
}

} // namespace

// Lengths are in samples of two-way time, so that a leg of a path is a length of three coordinates.
void ArrayCurves::Make(const ArrayStackSettings& s, const ArrayRows& rows, const IPP::Array<float>& speed,
                       const AntennaOffset& offset, double across) {
    times.resize(static_cast<std::size_t>(s.farthest) + 1);
    moveouts.resize(times.size());
    starts.assign(1, 0);
    places.clear(), weights.clear();
    widest = 1;
    for (int first = 0; first < s.samples; first += kCurveRows) {
        const std::size_t start = weights.size();
        for (int i = std::max(first, 1); i < std::min(first + kCurveRows, s.samples); ++i) // at 0 the obliquity is 0
            AddSample(s, i, speed[i], offset, across, start);
        starts.push_back(weights.size() / kCurveRows);
    }
    PlaceTerms(rows, s.samples);
}

// A term's place is width * samples + sample until the triangles are known, -1 if there is none.
void ArrayCurves::AddSample(const ArrayStackSettings& s, int i, double speed, const AntennaOffset& offset,
                            double across, std::size_t start) {
    const double perMetre = 1. / (speed * s.deltaT), dx = s.deltaX * perMetre, dy = s.lineSpacing * perMetre,
                 y = across * perMetre;
    const int reach = Reach(s, i, y, dx, across);
    if (reach < 0) return;
    IPP::Simd::Active().twoLegTimes(i, y, 0.5 * offset.along * perMetre, 0.5 * offset.across * perMetre, dx, dy,
                                    times.data(), moveouts.data(), reach + 1);
    const double factor = s.corrected ? -dx * dy / (2. * M_PI) : s.samples;
    const int most = std::min(s.samples, std::numeric_limits<int>::max() / s.samples - 1);
    int count = reach + 1;
    while (count > 0 && !(times[std::size_t(count) - 1] + 0.5 < s.samples)) --count; // times grow with the distance
    const std::size_t end = start + std::size_t(count) * kCurveRows;
    if (count > 0 && end > weights.size()) {
        weights.resize(end, 0.f);
        places.resize(end, -1);
    }
    for (int d = 0; d < count; ++d) {
        const double time = times[std::size_t(d)];
        const std::size_t place = start + std::size_t(d) * kCurveRows + std::size_t(i % kCurveRows);
        const double moveout = s.antiAlias ? moveouts[std::size_t(d)] + 0.5 : 1.;
        const int width = std::clamp(static_cast<int>(std::min(moveout, double(most))), 1, most);
        places[place] = width * s.samples + static_cast<int>(time + 0.5);
        weights[place] = static_cast<float>(factor * i / (time * time));
        widest = std::max(widest, width);
    }
}

void ArrayCurves::PlaceTerms(const ArrayRows& rows, int imageSamples) {
    std::vector<int> found((std::size_t(widest) + 1) * std::size_t(imageSamples), -1);
    for (const int term : places)
        if (term >= 0) found[std::size_t(term)] = 0;
    triangles.clear();
    firstSample = rows.samples, lastSample = 0;
    for (std::size_t k = 0; k < found.size(); ++k) {
        if (found[k] < 0) continue;
        const int sample = rows.timeZero + static_cast<int>(k) % imageSamples,
                  width = static_cast<int>(k) / imageSamples;
        const std::int64_t row = 1 + (width == 1 ? sample : rows.samples + std::int64_t(triangles.size()));
        if (width > 1) triangles.push_back({sample, width, row});
        found[k] = rows.Place(row);
        firstSample = std::max(std::min(firstSample, sample - width + 1), 0);
        lastSample = std::min(std::max(lastSample, sample + width - 1), rows.samples - 1);
    }
    for (int& term : places) term = term < 0 ? rows.Place(0) : found[std::size_t(term)];
}

ArrayCurves::Group ArrayCurves::At(int group) const {
    const std::size_t start = starts[std::size_t(group)], end = starts[std::size_t(group) + 1];
    return {static_cast<int>(end - start), places.data() + start * kCurveRows, weights.data() + start * kCurveRows};
}

namespace {

// Columns of zeros on both sides of the A-scans: a tile reaches as far beyond them.
constexpr int kMargin = kCurveColumns;
// Groups of samples that one tile of columns goes through before the next one does.
constexpr int kGroups = 8;

int Stride(int ascans) {
    constexpr int run = IPP::Simd::kWeightedRun;
    const std::int64_t columns = std::int64_t{ascans} + 2 * kMargin, stride = (columns + run - 1) / run * run;
    if (stride + run > std::numeric_limits<int>::max()) throw std::bad_alloc();
    return static_cast<int>(stride % 1024 == 0 ? stride + run : stride); // rows apart in the sets of the cache
}

} // namespace

ArrayRows::ArrayRows(int sampleCount, int ascanCount, int timeZeroSample)
    : samples(sampleCount), ascans(ascanCount), timeZero(timeZeroSample), stride(Stride(ascanCount)) {}

int ArrayRows::Place(std::int64_t row) const {
    if ((row + 1) * stride > std::numeric_limits<int>::max()) throw std::bad_alloc();
    return static_cast<int>(row * stride + kMargin);
}

void ArrayStack::Load(const ArrayCurves& curves, const float* first, const float* second) {
    const auto& triangles = curves.Triangles();
    const std::int64_t behind = 1 + std::int64_t{rows.samples} + std::int64_t(triangles.size());
    const int size = rows.Place(behind - 1) - kMargin + rows.stride;
    if (!work || work->size < size) {
        work = std::make_unique<IPP::Array<float>>(size);
        work->Zero();
    }
    const auto& kernels = IPP::Simd::Active();
    for (int s = curves.FirstSample(); s <= curves.LastSample(); ++s) {
        const std::size_t from = std::size_t(s) * std::size_t(rows.ascans);
        float* const row = work->data + rows.Place(1 + s);
        if (second)
            kernels.add(first + from, second + from, row, rows.ascans);
        else
            std::copy_n(first + from, rows.ascans, row);
    }
    std::vector<int> places;
    std::vector<float> weights;
    for (const ArrayCurves::Triangle& triangle : triangles) {
        const int centre = triangle.sample, w = triangle.width;
        places.clear(), weights.clear();
        for (int s = std::max(0, centre - w + 1); s <= std::min(rows.samples - 1, centre + w - 1); ++s) {
            places.push_back(rows.Place(1 + s) - kMargin);
            weights.push_back(static_cast<float>(double(w - std::abs(s - centre)) / (double(w) * w)));
        }
        kernels.weightedRows(places.data(), weights.data(), static_cast<int>(places.size()), work->data,
                             work->data + rows.Place(triangle.row) - kMargin, rows.stride);
    }
}

void ArrayStack::Add(const ArrayCurves& curves, const float* first, const float* second, float* image) {
    Load(curves, first, second);
    const auto& kernels = IPP::Simd::Active();
    alignas(64) float sums[kCurveRows * kCurveColumns];
    const int ascans = rows.ascans, imageSamples = rows.samples - rows.timeZero;
    for (int chunk = 0; chunk < curves.Groups(); chunk += kGroups)
        for (int x = 0; x < ascans; x += kCurveColumns) {
            const int columns = std::min(kCurveColumns, ascans - x);
            for (int g = chunk; g < std::min(chunk + kGroups, curves.Groups()); ++g) {
                const ArrayCurves::Group group = curves.At(g);
                if (group.distances == 0) continue;
                // Distances that bring the tile beyond the line on either side hold nothing.
                const int right = std::min(group.distances, ascans - x),
                          left = std::min(group.distances - 1, x + kCurveColumns - 1),
                          rowCount = std::min(kCurveRows, imageSamples - g * kCurveRows);
                float* const out = image + std::size_t(g) * kCurveRows * std::size_t(ascans) + x;
                if (columns == kCurveColumns && rowCount == kCurveRows) {
                    kernels.curveTile(group.places, group.weights, right, left, work->data + x, out, ascans, columns);
                    continue;
                }
                std::fill_n(sums, kCurveRows * kCurveColumns, 0.f);
                kernels.curveTile(group.places, group.weights, right, left, work->data + x, sums, kCurveColumns,
                                  columns);
                for (int r = 0; r < rowCount; ++r) {
                    float* const row = out + std::size_t(r) * std::size_t(ascans);
                    kernels.add(row, sums + kCurveColumns * r, row, columns);
                }
            }
        }
}

} // namespace TZM
