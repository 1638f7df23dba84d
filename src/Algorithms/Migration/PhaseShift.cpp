#include "Algorithms/Migration/PhaseShift.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <tuple>

#include "Array/Primitives/Checked.h"
#include "Array/Simd/Dispatch.h"

namespace TZM {

namespace {

using IPP::Simd::kSpreadWidth;

constexpr double kPi = 3.14159265358979323846;
constexpr double kBeta = 2.3 * kSpreadWidth; // of the kernel, best for a grid twice as fine

/// The kernel at a distance of u half widths.
double Kernel(double u) { return u * u < 1. ? std::exp(kBeta * (std::sqrt(1. - u * u) - 1.)) : 0.; }

/// The transform of the kernel at c / half a width. With u = sin(a) the integrand is smooth and all but 0 at the ends,
/// where equal steps are best; it is even.
class KernelTransform {
public:
    KernelTransform() {
        for (int j = 0; j < kSteps; ++j) {
            const double a = kPi / 2. * (j + 0.5) / kSteps;
            places[j] = std::sin(a);
            weights[j] = kPi / 2. / kSteps * kSpreadWidth * std::exp(kBeta * (std::cos(a) - 1.)) * std::cos(a);
        }
    }
    double At(double c) const {
        double sum = 0.;
        for (int j = 0; j < kSteps; ++j) sum += weights[j] * std::cos(c * places[j]);
        return sum;
    }

private:
    static constexpr int kSteps = 32;
    double places[kSteps], weights[kSteps];
};

/// The kernel at the points around a place, read from a table by straight lines: its second derivative, at most 1.2 per
/// point squared, leaves an error of 4e-8.
class KernelTable {
public:
    KernelTable() {
        for (int j = 0; j <= kSteps; ++j)
            for (int p = 0; p < kSpreadWidth; ++p)
                values[std::size_t(j)][p] = static_cast<float>(Kernel((double(j) / kSteps + p) / kHalf - 1.));
    }

    /// \param beyond from the place less half a width to the first point, 0 to 1
    void At(double beyond, float* weights) const {
        const double step = beyond * kSteps;
        const int j = std::min(static_cast<int>(step), kSteps - 1);
        const auto part = static_cast<float>(step - j);
        const float *low = values[std::size_t(j)], *high = values[std::size_t(j) + 1];
        for (int p = 0; p < kSpreadWidth; ++p) weights[p] = low[p] + part * (high[p] - low[p]);
    }

private:
    static constexpr int kSteps = 2048;
    static constexpr double kHalf = kSpreadWidth / 2.;
    float values[kSteps + 1][kSpreadWidth];
};

int GridSize(int imageSamples) {
    std::int64_t size = 2 * kSpreadWidth;
    while (size < std::int64_t{2} * imageSamples) size *= 2;
    return IPP::Detail::OwnedCount<int>(1, static_cast<int>(std::min<std::int64_t>(size, 1 << 30)));
}

/// The image sample to which phases are counted, so that the modes of the grid lie around 0.
int Middle(int imageSamples) { return imageSamples / 2 + 1; }

} // namespace

std::vector<double> SpectralAxis(int bins, double step) {
    std::vector<double> axis(static_cast<std::size_t>(bins));
    for (int i = 0; i < bins; ++i)
        axis[static_cast<std::size_t>(i)] = (i <= bins / 2 ? i : i - bins) * (kTwoPi / (bins * step));
    return axis;
}

double PhaseOf(double omega, double wavenumber, double speed, double deltaT) {
    const double vk = speed * wavenumber, square = omega * omega - vk * vk;
    return square > 0. && square < HUGE_VAL ? std::copysign(std::sqrt(square) * deltaT, omega) : 0.;
}

bool PhaseShiftSettings::operator==(const PhaseShiftSettings& o) const {
    const auto all = [](const PhaseShiftSettings& s) {
        return std::tie(s.rows, s.columns, s.imageSamples, s.deltaT, s.doubleDeltaX, s.withoutMean);
    };
    return all(*this) == all(o);
}

bool PhaseShift::Serves(const PhaseShiftSettings& wanted, const IPP::Array<float>& wantedSpeed) const {
    return settings == wanted &&
           std::equal(speed.begin(), speed.end(), wantedSpeed.data, wantedSpeed.data + wantedSpeed.size);
}

std::size_t PhaseShift::Bytes() const {
    std::size_t bytes = (speed.capacity() + correction.capacity()) * sizeof(float) + table.capacity() * sizeof(Column);
    for (const Column& c : table)
        bytes += (c.rows.capacity() + c.starts.capacity()) * sizeof(int) + c.weights.capacity() * sizeof(float) +
                 c.turns.capacity() * sizeof(IPP::Ipp32fc);
    return bytes;
}

PhaseShift::PhaseShift(const PhaseShiftSettings& wanted, const IPP::Array<float>& ofRows)
    : settings(wanted), speed(ofRows.data, ofRows.data + ofRows.size), half(settings.columns / 2 + 1),
      gridSize(GridSize(settings.imageSamples)), table(static_cast<std::size_t>(half)),
      alongScan(IPP::FftPlan::Get(settings.columns)), alongAscan(IPP::FftPlan::Get(settings.rows)),
      alongGrid(IPP::FftPlan::Get(gridSize)) {
    const int rows = settings.rows, samples = settings.imageSamples, middle = Middle(samples);
    const double deltaT = double{settings.deltaT};
    static const KernelTable kernel;
    static const KernelTransform transform;
    const auto omega = SpectralAxis(rows, deltaT), k = SpectralAxis(settings.columns, double{settings.doubleDeltaX});
    for (int x = settings.withoutMean ? 1 : 0; x < half; ++x) {
        Column& column = table[static_cast<std::size_t>(x)];
        for (int i = 0; i < rows; ++i) {
            const double phase =
                PhaseOf(omega[std::size_t(i)], k[std::size_t(x)], double{speed[std::size_t(i)]}, deltaT);
            if (phase == 0.) continue;
            const double edge = phase / (2. * kPi) * gridSize - kSpreadWidth / 2., first = std::ceil(edge);
            column.rows.push_back(i);
            column.starts.push_back((static_cast<int>(first) + gridSize) % gridSize);
            column.weights.resize(column.weights.size() + kSpreadWidth);
            kernel.At(first - edge, &*(column.weights.end() - kSpreadWidth));
            column.turns.push_back(
                {static_cast<float>(std::cos(phase * middle)), static_cast<float>(std::sin(phase * middle))});
        }
    }
    for (int z = 0; z < samples; ++z)
        correction.push_back(static_cast<float>(1. / transform.At(kPi * kSpreadWidth * (z + 1 - middle) / gridSize)));
}

PhaseShift::Work::Work(const PhaseShift& shift)
    : lanes(static_cast<int>(IPP::Simd::ActiveFft().lanes)),
      stride((shift.settings.imageSamples + lanes - 1) / lanes * lanes), re(stride, shift.settings.columns),
      im(stride, shift.settings.columns), sumRe(stride, shift.half), sumIm(stride, shift.half),
      columnsRe(shift.settings.rows, lanes), columnsIm(shift.settings.rows, lanes),
      spectrum(IPP::Detail::OwnedCount(2 * lanes, shift.settings.rows)),
      grids(IPP::Detail::OwnedCount(2 * lanes, shift.gridSize)), blocks(grids.size),
      plan(static_cast<int>(std::max(
          {shift.alongScan->WorkSize(), shift.alongAscan->WorkSize(), shift.alongGrid->WorkSize(), IPP::Index{1}}))),
      values(std::size_t(4) * std::size_t(shift.settings.rows)),
      tuples(std::size_t(4) * std::size_t(shift.gridSize + kSpreadWidth)) {
    for (auto* area : {&re, &im, &sumRe, &sumIm}) area->Zero();
    for (auto* area : {&spectrum, &grids, &blocks}) area->Zero();
}

// One grid for the sums over Q(i, x) and one for those over Q(i, M - x) = conj Q(-i, x), side by side. The conjugate of
// the second's transform is the transform of its conjugate mirror image.
void PhaseShift::Spread(const Column& column, const float* re, const float* im, float scale, bool withMirror,
                        Work& work, float* grid) const {
    const int count = static_cast<int>(column.rows.size());
    for (int n = 0; n < count; ++n) {
        const int i = column.rows[std::size_t(n)], mirror = i == 0 ? 0 : settings.rows - i;
        const IPP::Ipp32fc turn = column.turns[std::size_t(n)];
        float* const value = &work.values[4 * std::size_t(n)];
        value[0] = re[i] * turn.re - im[i] * turn.im;
        value[1] = re[i] * turn.im + im[i] * turn.re;
        value[2] = withMirror ? re[mirror] * turn.re + im[mirror] * turn.im : 0.f;
        value[3] = withMirror ? re[mirror] * turn.im - im[mirror] * turn.re : 0.f;
    }
    float* const tuples = work.tuples.data();
    std::fill(work.tuples.begin(), work.tuples.end(), 0.f);
    IPP::Simd::Active().spread(column.starts.data(), column.weights.data(), work.values.data(), count, tuples);
    for (int k = 0; k < 4 * kSpreadWidth; ++k) tuples[k] += tuples[4 * std::int64_t{gridSize} + k];
    const auto fold = [&](std::int64_t here, std::int64_t mirror) {
        grid[2 * here] = scale * (tuples[4 * here] + tuples[4 * mirror + 2]);
        grid[2 * here + 1] = scale * (tuples[4 * here + 1] - tuples[4 * mirror + 3]);
    };
    fold(0, 0);
    for (int n = 1; n < gridSize; ++n) fold(n, gridSize - n);
}

void PhaseShift::SumUp(int x, int count, bool withMirror, Work& work) const {
    const auto& fft = IPP::Simd::ActiveFft();
    const int block = 2 * work.lanes, samples = settings.imageSamples;
    for (int l = 0; l < count; ++l) { // what stands for itself and its mirror image counts twice
        const bool alone = x + l == 0 || 2 * (x + l) == settings.columns;
        Spread(table[std::size_t(x + l)], work.columnsRe.Row(l).data, work.columnsIm.Row(l).data,
               alone && withMirror ? 0.5f : 1.f, withMirror, work, work.grids.data + std::int64_t{2} * gridSize * l);
    }
    float* const sums = work.blocks.data;
    fft.loadRows(work.grids.data, IPP::Index{2} * gridSize * sizeof(float), count, IPP::Index{2} * gridSize, sums,
                 work.lanes);
    alongGrid->Inverse({sums, sums + work.lanes, block}, {sums, sums + work.lanes, block}, work.plan.data);
    float* const ordered = work.grids.data; // free again
    for (int s = 0; s < samples; ++s) {
        const int mode = s + 1 - Middle(samples), bin = (mode + gridSize) % gridSize;
        for (int l = 0; l < block; ++l)
            ordered[std::int64_t{block} * s + l] = correction[std::size_t(s)] * sums[std::int64_t{block} * bin + l];
    }
    const IPP::Index rowBytes = IPP::Index{work.stride} * sizeof(float);
    fft.storeRows(ordered, block, count, samples, work.sumRe.Row(x).data, rowBytes);
    fft.storeRows(ordered + work.lanes, block, count, samples, work.sumIm.Row(x).data, rowBytes);
}

bool PhaseShift::SurelyInRange(const Work& work) const {
    double sum = 0; // the magnitude of R is at most that of all elements
    for (const auto* part : {&work.columnsRe, &work.columnsIm}) {
        float low = 0.f, high = 0.f;
        IPP::Simd::Active().minMax(part->data, part->size, &low, &high);
        sum += settings.rows * std::max(-double{low}, double{high});
    }
    constexpr double kernelsError = 2;
    return kernelsError * sum <= double{IPP::Checked::kTransformRange};
}

void PhaseShift::RequireRange(int x, int count, Work& work) const {
    SumUp(x, count, false, work);
    for (int l = 0; l < count; ++l)
        for (const int part : {0, 1}) // the first floats of a row of R, as many as it has elements
            if (2 * (x + l) + part < settings.columns)
                IPP::Checked::CheckTransformRange((part == 0 ? work.sumRe : work.sumIm).Row(x + l).data,
                                                  settings.imageSamples, "IPP::Exception::ippsDFTInv_outOfRange32f");
}

void PhaseShift::Migrate(const IPP::Array2D<float>& record, int firstSample, const std::vector<float>& weights,
                         bool checkRange, const IPP::Array2D<float>& image, Work& work) const {
    const auto& fft = IPP::Simd::ActiveFft();
    const int lanes = work.lanes, block = 2 * lanes, stride = work.stride, samples = settings.imageSamples;
    const IPP::Index rowBytes = IPP::Index{stride} * sizeof(float);

    // Along the scan, samples side by side.
    for (int a = 0; a < record.dim1; ++a) {
        const auto ascan = work.re.Row(a);
        std::fill_n(ascan.data + samples, stride - samples, 0.f);
        std::memcpy(ascan.data, record.Row(a).data + firstSample, sizeof(float) * std::size_t(samples));
        if (!weights.empty())
            for (int s = 0; s < samples; ++s) ascan[s] *= weights[std::size_t(a)];
    }
    for (int s = 0; s < stride; s += lanes)
        alongScan->Forward({work.re.data + s, nullptr, stride, record.dim1},
                           {work.re.data + s, work.im.data + s, stride}, work.plan.data);

    // Down from there, wavenumbers side by side.
    for (int x = 0; x < half; x += lanes) {
        const int count = std::min(lanes, half - x);
        float* const z = work.spectrum.data;
        fft.loadRows(work.re.Row(x).data, rowBytes, count, samples, z, block);
        fft.loadRows(work.im.Row(x).data, rowBytes, count, samples, z + lanes, block);
        alongAscan->Forward({z, z + lanes, block, samples}, {z, z + lanes, block}, work.plan.data);
        const IPP::Index columnBytes = IPP::Index{settings.rows} * sizeof(float);
        fft.storeRows(z, block, count, settings.rows, work.columnsRe.data, columnBytes);
        fft.storeRows(z + lanes, block, count, settings.rows, work.columnsIm.data, columnBytes);
        if (checkRange && !SurelyInRange(work)) RequireRange(x, count, work);
        SumUp(x, count, true, work);
    }

    for (int s = 0; s < stride; s += lanes)
        alongScan->Inverse({work.sumRe.data + s, work.sumIm.data + s, stride, half},
                           {work.re.data + s, work.im.data + s, stride}, work.plan.data);
    for (int a = 0; a < image.dim1; ++a)
        std::memcpy(image.Row(a).data, work.re.Row(a).data, sizeof(float) * std::size_t(samples));
}

} // namespace TZM
