#include "Algorithms/Migration/StoltTables.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "Algorithms/Migration/TaperWindow.h"
#include "Array/Simd/Dispatch.h"

namespace TZM {

namespace {

constexpr double kSpeedOfLight = 3e8; // metres per second
constexpr float kPi = 3.14159274f;

// Truncates towards zero into 0 .. limit; what isn't a number gives 0.
int TruncatedIndex(double value, int limit) {
    if (!(value >= 1.)) return 0;
    return value >= limit ? limit : static_cast<int>(value);
}

// Frequencies are in bins of df = Nyquist / (nt / 2), so that Nyquist is bin nt / 2.
struct FrequencyBand {
    explicit FrequencyBand(const StoltSettings& s)
        : nyquist(s.nt / 2), whole(nyquist * s.maxMigFreqRel), taper((nyquist - whole) * 0.2f), end(whole + taper),
          last(TruncatedIndex(end + 0.5, s.nt)) {}
    double nyquist;
    double whole; // all passes up to here
    double taper; // width of the fade behind it
    double end;
    int last; // the last bin that can pass
};

// Weights of the bins 0 .. nt / 2: 1 up to the taper, the falling half of a Hamming window along it, 0 behind it.
std::vector<float> FrequencyMask(const StoltSettings& s, const FrequencyBand& band) {
    std::vector<float> mask(s.nt / 2 + 1, s.useFrequencyMask ? 0.f : 1.f);
    if (!s.useFrequencyMask) return mask;
    IPP::Array<float> taper(2 * (band.last + 1));
    TaperWindow{TruncatedIndex(band.taper / band.end * (band.last + 1), taper.size), TaperWindow::Hamming, 1.f}.Apply(
        taper);
    for (int k = 0; k <= std::min(band.last, s.nt / 2); ++k) mask[k] = taper[band.last - k];
    return mask;
}

// Weights of the bins 0 .. nt / 2 by the dip asin(columnBin / k) at bin k: 0 beyond dipEnd, 1 below dipStart, half a
// cosine between. columnBin is vh kx in bins: below it the wave is evanescent.
std::vector<float> DipMask(const StoltSettings& s, double columnBin, int lastPass) {
    const int last = s.nt - 1;
    std::vector<float> mask(s.nt / 2 + 1, 1.f);
    const float dipStart = s.dipMax * kPi / 180.f;
    const float dipEnd = (s.dipMax + std::max(0.f, std::min(s.dipWidth, 90.f - s.dipMax))) * kPi / 180.f;
    if (!s.useDipMask || dipStart == dipEnd) return mask;

    std::fill(mask.begin(), mask.end(), 0.f);
    const auto set = [&mask](int k, float weight) {
        if (k < static_cast<int>(mask.size())) mask[k] = weight;
    };
    const int kMin = std::max(1, TruncatedIndex(columnBin, s.nt));
    if (kMin == lastPass) {
        set(kMin, 1.f);
        return mask;
    }
    const auto binAtDip = [&](float dip) { // a sine of 0 gives infinity, hence the last bin
        return std::min(std::max(kMin, TruncatedIndex(columnBin / std::sin(dip), s.nt)), last);
    };
    const int kHigh = columnBin > 0. ? binAtDip(dipStart) : std::min(kMin, last);
    const int kLow = columnBin > 0. ? binAtDip(dipEnd) : std::min(kMin, last);
    for (int k = kLow; k < kHigh; ++k) {
        // In single precision, in which the cosine reaches -1 at dipEnd and the weight there is exactly 0.
        const float dip = std::asin(static_cast<float>(std::min(1., columnBin / k)));
        set(k, 0.5f + 0.5f * std::cos((dip - dipStart) * kPi / (dipEnd - dipStart)));
    }
    for (int k = kHigh; k <= last; ++k) set(k, 1.f);
    return mask;
}

} // namespace

bool StoltSettings::operator==(const StoltSettings& o) const {
    const auto all = [](const StoltSettings& s) {
        return std::tie(s.nx, s.nt, s.deltaT, s.deltaX, s.permittivity, s.useFrequencyMask, s.useDipMask, s.dipMax,
                        s.dipWidth, s.harlan, s.maxMigFreqRel, s.harlanThreshold);
    };
    return all(*this) == all(o);
}

double StoltTables::ColumnBin(const StoltSettings& s, double k) {
    const double halfSpeed = kSpeedOfLight / std::sqrt(static_cast<double>(s.permittivity)) * 0.5;
    const double df = 0.5 / s.deltaT / (s.nt / 2); // hertz
    return halfSpeed * k / df;
}

namespace {

std::vector<double> ColumnBinsAlong(const StoltSettings& s) {
    std::vector<double> bins;
    for (int h = 0; h <= s.nx / 2; ++h)
        bins.push_back(StoltTables::ColumnBin(s, static_cast<double>(h) / s.nx / s.deltaX));
    return bins;
}

} // namespace

StoltTables::StoltTables(const StoltSettings& s) : StoltTables(s, ColumnBinsAlong(s)) {
    lastImageBin = lastRecordBin = 0;
    for (const Column& column : columns) {
        if (column.count == 0) continue;
        lastImageBin = std::max(lastImageBin, column.first + column.count - 1);
        const int bin = bins[column.offset + static_cast<std::size_t>(column.count) - 1] + 1; // the last is the highest
        lastRecordBin = std::max(lastRecordBin, std::min(nyquist, bin + kTaps - 1 - kTapsBelow));
    }
}

StoltTables::StoltTables(const StoltSettings& s, const std::vector<double>& columnBins)
    : settings(s), nx(s.nx), nyquist(s.nt / 2) {
    const FrequencyBand band(s);
    const std::vector<float> frequencyMask = FrequencyMask(s, band);
    lastImageBin = s.useFrequencyMask ? std::min(band.last, nyquist) : nyquist;
    lastRecordBin = nyquist;
    Reserve(columnBins.size() * static_cast<std::size_t>(lastImageBin));
    for (const double columnBin : columnBins) {
        std::vector<float> pass = DipMask(s, columnBin, band.last);
        for (std::size_t j = 0; j < pass.size(); ++j) pass[j] *= frequencyMask[j];
        AddColumn(columnBin, pass);
    }
}

std::size_t StoltTables::Bytes() const {
    return columns.capacity() * sizeof(Column) + bins.capacity() * sizeof(int) +
           (taps.capacity() + factorRe.capacity() + factorIm.capacity()) * sizeof(float);
}

// The most reads there can be, so that the arrays don't move while they grow; what isn't used is never touched.
void StoltTables::Reserve(std::size_t reads) {
    bins.reserve(reads);
    taps.reserve(reads * kTapStride);
    factorRe.reserve(reads);
    factorIm.reserve(reads);
}

void StoltTables::AddColumn(double columnBin, const std::vector<float>& pass) {
    const auto position = [columnBin](int j) { return std::sqrt(static_cast<double>(j) * j + columnBin * columnBin); };
    Column column;
    column.offset = bins.size();
    column.first = 1;
    int end = nyquist + 1; // first bin that isn't filled
    while (column.first < end && pass[column.first] == 0.f) ++column.first;
    while (end > column.first && (pass[end - 1] == 0.f || !(position(end - 1) <= nyquist))) --end;
    column.count = std::max(end - column.first, 0);
    const std::size_t count = static_cast<std::size_t>(column.count), total = column.offset + count;
    bins.resize(total);
    taps.resize(total * kTapStride);
    factorRe.resize(total);
    factorIm.resize(total);
    std::vector<float> fractions(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double r = position(column.first + static_cast<int>(i));
        const int bin = std::min(nyquist, static_cast<int>(std::floor(r + 0.00005)));
        bins[column.offset + i] = bin - 1; // where the first tap's bin i0 - 4 stands in the copy of MapColumn
        fractions[i] = static_cast<float>(std::abs(r - bin));
    }
    float* const tap = taps.data() + column.offset * kTapStride;
    float *const re = factorRe.data() + column.offset, *const im = factorIm.data() + column.offset;
    if (settings.harlan && count > 0) // the masks are gates only
        IPP::Simd::Active().harlanTaps(fractions.data(), column.count, settings.harlanThreshold, tap, re, im);
    for (std::size_t i = 0; i < count; ++i) {
        const float weight = pass[static_cast<std::size_t>(column.first) + i];
        if (!settings.harlan) {
            tap[i * kTapStride + kTapsBelow] = weight * (1.f - fractions[i]);
            tap[i * kTapStride + kTapsBelow + 1] = weight * fractions[i];
        }
        if (!settings.harlan || weight == 0.f) re[i] = weight == 0.f ? 0.f : 1.f, im[i] = 0.f;
    }
    columns.push_back(column);
}

void StoltTables::MapColumn(int h, float* re, float* im, std::vector<float>& record) const {
    // The record's bins i0 - 4 .. i0 + 5 are limited to 1 .. nyquist: in the copy bin 1 is repeated ahead of the column
    // and the Nyquist bin behind it, where a read that ends earlier meets zeros. A read takes kTapStride elements.
    const std::size_t length = static_cast<std::size_t>(nyquist) + kTapStride;
    record.resize(2 * length);
    const auto load = [&](const float* part, float* copy) {
        std::fill_n(copy, kTapsBelow, part[0]);
        std::copy_n(part, lastRecordBin, copy + kTapsBelow);
        std::fill(copy + kTapsBelow + lastRecordBin, copy + length, lastRecordBin == nyquist ? part[nyquist - 1] : 0.f);
    };
    const Column& column = columns[h <= nx / 2 ? h : nx - h];
    if (column.count > 0) {
        load(re, record.data());
        load(im, record.data() + length);
    }
    std::fill_n(re, lastImageBin, 0.f);
    std::fill_n(im, lastImageBin, 0.f);
    if (column.count > 0)
        IPP::Simd::Active().tapReads(bins.data() + column.offset, taps.data() + column.offset * kTapStride,
                                     factorRe.data() + column.offset, factorIm.data() + column.offset, column.count,
                                     record.data(), record.data() + length, re + column.first - 1,
                                     im + column.first - 1);
}

} // namespace TZM
