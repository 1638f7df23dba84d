#include "Algorithms/Migration/DiffractionStack.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <new>
#include <tuple>

#include "Array/Simd/Dispatch.h"
#include "Framework/private/BscanLayout.h"

namespace TZM {

bool DiffractionSettings::operator==(const DiffractionSettings& o) const {
    const auto all = [](const DiffractionSettings& s) {
        return std::tie(s.samples, s.firstSample, s.ascans, s.deltaT, s.deltaX, s.offset, s.tanAperture, s.baseWidth,
                        s.maxWidth);
    };
    return all(*this) == all(o);
}

bool DiffractionStack::Serves(const DiffractionSettings& wanted, const IPP::Array<float>& wantedSpeed) const {
    return settings == wanted &&
           std::equal(speed.begin(), speed.end(), wantedSpeed.data, wantedSpeed.data + wantedSpeed.size);
}

std::size_t DiffractionStack::Bytes() const {
    return starts.capacity() * sizeof(std::size_t) + (distances.capacity() + sources.capacity()) * sizeof(int) +
           (weights.capacity() + speed.capacity()) * sizeof(float);
}

DiffractionStack::DiffractionStack(const DiffractionSettings& wanted, const IPP::Array<float>& halfSpeed)
    : settings(wanted), speed(halfSpeed.data, halfSpeed.data + halfSpeed.size), samples(settings.samples),
      firstSample(settings.firstSample) {
    const double dt = settings.deltaT, dx = settings.deltaX, a = settings.offset;
    const int farthest = settings.ascans - 1;
    // A distance is finished with the first sample whose curve leaves the record.
    std::vector<char> finished(static_cast<std::size_t>(std::max(2 * farthest, 0)));
    starts.push_back(0);
    for (int s = firstSample; s < samples; ++s) {
        const double v = speed[std::size_t(s)], t = s * dt;
        double width = farthest;
        if (settings.tanAperture > 0.f) {
            width = std::max(std::trunc(t * v * settings.tanAperture / (2. * dx)), double(settings.baseWidth));
            if (settings.maxWidth > 0) width = std::min(width, double(settings.maxWidth));
        }
        const int most = static_cast<int>(std::min(width, double(farthest)));
        for (int d = -most; d <= std::min(most, farthest - 1); ++d) {
            char& done = finished[static_cast<std::size_t>(d + farthest)];
            if (done) continue;
            const double x = d * dx;
            const double path = 0.5 * (std::hypot((x + a) / v, t) + std::hypot((x - a) / v, t)),
                         time = path - a / (4. * v);
            const double source = std::floor(time / dt + 1.5);
            if (!(source < samples)) {
                done = true;
                continue;
            }
            distances.push_back(d);
            sources.push_back(static_cast<int>(std::max(source, 0.)));
            weights.push_back(time > 0. ? static_cast<float>(std::sqrt(samples * dt / time) * t / time) : 1.f);
            reach = std::max(reach, std::abs(d));
        }
        starts.push_back(weights.size());
    }
}

/// Rows of the record and of the image in the work memory: whole runs, with `reach` zeros to each side of the record.
struct DiffractionStack::Layout {
    Layout(int ascans, int reach, int samples, int imageSamples, std::size_t terms)
        : run((ascans + IPP::Simd::kWeightedRun - 1) / IPP::Simd::kWeightedRun * std::int64_t{IPP::Simd::kWeightedRun}),
          stride(run + 2 * std::int64_t{reach}), record(stride * samples), image(run * imageSamples),
          offsets(static_cast<std::int64_t>(terms)) {}
    int Total() const {
        const std::int64_t total = record + image + offsets;
        if (total > std::numeric_limits<int>::max()) throw std::bad_alloc();
        return static_cast<int>(total);
    }
    std::int64_t run, stride, record, image, offsets;
};

namespace {

std::size_t MostTerms(const std::vector<std::size_t>& starts) {
    std::size_t most = 0;
    for (std::size_t i = 1; i < starts.size(); ++i) most = std::max(most, starts[i] - starts[i - 1]);
    return most;
}

} // namespace

int DiffractionStack::WorkSize(int ascans) const {
    return Layout(ascans, reach, samples, samples - firstSample, MostTerms(starts)).Total();
}

void DiffractionStack::Sum(const IPP::Array2D<float>& bscan, const IPP::Array2D<float>& image,
                           IPP::Array<float>& work) const {
    const int ascans = bscan.dim1, imageSamples = samples - firstSample;
    const Layout layout(ascans, reach, samples, imageSamples, MostTerms(starts));
    const int run = static_cast<int>(layout.run), stride = static_cast<int>(layout.stride);
    std::fill_n(work.data, layout.record, 0.f);
    // The view begins behind the zeros of its first row, so that its last row is left out of the count.
    IPP::Array2D<float> record(work.data + reach, stride, samples);
    const IPP::Array2D<float> sums(work.data + layout.record, run, imageSamples);
    std::vector<int> offsets(static_cast<std::size_t>(layout.offsets));
    ToDepthRows(bscan, record);
    for (int i = 0; i < imageSamples; ++i) {
        const auto begin = distances.begin() + std::ptrdiff_t(starts[std::size_t(i)]),
                   end = distances.begin() + std::ptrdiff_t(starts[std::size_t(i) + 1]);
        const auto first = std::lower_bound(begin, end, 1 - ascans), last = std::upper_bound(first, end, ascans - 2);
        const auto base = static_cast<std::size_t>(first - distances.begin());
        const int count = static_cast<int>(last - first);
        for (int k = 0; k < count; ++k)
            offsets[std::size_t(k)] = sources[base + std::size_t(k)] * stride + distances[base + std::size_t(k)];
        IPP::Simd::Active().weightedRows(offsets.data(), weights.data() + base, count, record.data, sums.Row(i).data,
                                         run);
    }
    FromDepthRows(sums, const_cast<IPP::Array2D<float>&>(image));
}

} // namespace TZM
