#include "Recording/Recording.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <new>

#include "Recording/Refusal.h"
#include "Recording/private/Text.h"

namespace TZM {

std::string Dimensions::Text() const {
    return std::to_string(samples) + " x " + std::to_string(ascans) + " x " + std::to_string(bscans);
}

Samples AllocateSamples(std::int64_t count) {
    constexpr std::size_t kHugePage = std::size_t{1} << 21;
    const auto bytes = (static_cast<std::size_t>(count) * sizeof(float) + kHugePage - 1) / kHugePage * kHugePage;
    // A system that promises more than it has would end the program when the memory is touched.
    const double physical = static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
    if (count < 1 || static_cast<double>(count) * sizeof(float) > physical) throw std::bad_alloc();
    const auto memory = static_cast<float*>(std::aligned_alloc(kHugePage, bytes));
    if (!memory) throw std::bad_alloc();
    madvise(memory, bytes, MADV_HUGEPAGE); // only a hint: a system without huge pages gives small ones
    return Samples(memory, [](float* p) { std::free(p); });
}

ImageProps Recording::Props() const {
    ImageProps props(size.samples, size.ascans, size.bscans);
    if (!validRanges.empty()) props.bscanInfo = validRanges;
    return props;
}

Recording Recording::About() const {
    Recording about = *this;
    about.data.reset();
    return about;
}

std::int64_t FirstNotFinite(const Recording& recording) {
    const std::int64_t count = recording.size.Count();
    const float* x = recording.data.get();
    constexpr std::int64_t kPiece = 4096; // a piece's sum of x * 0 is NaN if one of its elements isn't finite
    for (std::int64_t begin = 0; begin < count; begin += kPiece) {
        const std::int64_t end = std::min(count, begin + kPiece);
        float sum = 0;
        for (std::int64_t i = begin; i < end; ++i) sum += x[i] * 0.0f;
        for (std::int64_t i = begin; sum != 0 && i < end; ++i)
            if (!std::isfinite(x[i])) return i;
    }
    return -1;
}

void RequireFinite(const Recording& recording, const std::string& name) {
    const std::int64_t i = FirstNotFinite(recording);
    if (i < 0) return;
    const std::int64_t ascan = i / recording.size.samples;
    throw Refusal(name + " holds " + (std::isnan(recording.data[i]) ? "NaN" : "infinity") + " at sample " +
                  std::to_string(i % recording.size.samples) + " of A-scan " +
                  std::to_string(ascan % recording.size.ascans) + " of B-scan " +
                  std::to_string(ascan / recording.size.ascans));
}

} // namespace TZM
