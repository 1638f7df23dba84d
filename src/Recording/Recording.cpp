#include "Recording/Recording.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <map>
#include <mutex>
#include <new>
#include <utility>

#include "Framework/private/ParallelFor.h"
#include "Recording/Refusal.h"
#include "Recording/private/SpareBlocks.h"
#include "Recording/private/Text.h"

namespace TZM {

std::string Dimensions::Text() const {
    return std::to_string(samples) + " x " + std::to_string(ascans) + " x " + std::to_string(bscans);
}

namespace {

constexpr std::size_t kHugePage = std::size_t{1} << 21;

/// Blocks that were released.
struct Spares {
    static constexpr std::size_t kMostIdle = std::size_t{64} << 20;

    std::mutex mutex;
    int keepers = 0;
    std::multimap<std::size_t, float*> blocks;  ///< while SpareBlocks live, by their bytes
    std::pair<std::size_t, float*> idle{0, {}}; ///< otherwise: the last one of moderate size, until the next is wanted

    static Spares& Get() {
        static Spares* const spares = new Spares; // blocks may be released when statics are gone
        return *spares;
    }

    static bool Serves(std::size_t spare, std::size_t bytes) { return spare >= bytes && spare / 2 <= bytes; }

    /// The smallest that holds so many bytes and isn't twice as large; null if there is none.
    float* Take(std::size_t& bytes) {
        const std::lock_guard<std::mutex> lock(mutex);
        if (bytes >= kHugePage) {
            const auto [size, memory] = std::exchange(idle, {0, nullptr});
            if (Serves(size, bytes)) {
                bytes = size;
                return memory;
            }
            std::free(memory);
        }
        const auto spare = blocks.lower_bound(bytes);
        if (spare == blocks.end() || !Serves(spare->first, bytes)) return nullptr;
        bytes = spare->first;
        float* const memory = spare->second;
        blocks.erase(spare);
        return memory;
    }

    void Release(float* memory, std::size_t bytes) noexcept {
        try {
            const std::lock_guard<std::mutex> lock(mutex);
            if (keepers > 0) return void(blocks.emplace(bytes, memory));
            if (bytes >= kHugePage && bytes <= kMostIdle) memory = std::exchange(idle, {bytes, memory}).second;
        } catch (const std::bad_alloc&) {
        }
        std::free(memory);
    }
};

} // namespace

SpareBlocks::SpareBlocks() {
    const std::lock_guard<std::mutex> lock(Spares::Get().mutex);
    ++Spares::Get().keepers;
}

SpareBlocks::~SpareBlocks() {
    const std::lock_guard<std::mutex> lock(Spares::Get().mutex);
    if (--Spares::Get().keepers > 0) return;
    for (const auto& [bytes, memory] : Spares::Get().blocks) std::free(memory);
    Spares::Get().blocks.clear();
}

Samples AllocateSamples(std::int64_t count) {
    // A huge page for a small block would cost more than it spares.
    constexpr std::size_t kSmall = kHugePage / 2, kCacheLine = 64;
    const std::size_t wanted = static_cast<std::size_t>(count) * sizeof(float),
                      page = wanted < kSmall ? kCacheLine : kHugePage;
    auto bytes = (wanted + page - 1) / page * page;
    // A system that promises more than it has would end the program when the memory is touched.
    const double physical = static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
    if (count < 1 || static_cast<double>(count) * sizeof(float) > physical) throw std::bad_alloc();
    float* memory = Spares::Get().Take(bytes);
    if (!memory) {
        memory = static_cast<float*>(std::aligned_alloc(page, bytes));
        if (!memory) throw std::bad_alloc();
        if (page == kHugePage)
            madvise(memory, bytes, MADV_HUGEPAGE); // only a hint: a system without huge pages gives small ones
    }
    return Samples(memory, [bytes](float* p) { Spares::Get().Release(p, bytes); });
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

namespace {

/// Whether all are finite: x * 0 is NaN for one that isn't, and so is every sum with it.
bool AllFinite(const float* x, std::int64_t count) {
    float sum = 0;
#pragma omp simd reduction(+ : sum)
    for (std::int64_t i = 0; i < count; ++i) sum += x[i] * 0.0f;
    return sum == 0;
}

} // namespace

std::int64_t FirstNotFinite(const Recording& recording) {
    const std::int64_t bscan = std::int64_t{recording.size.samples} * recording.size.ascans;
    std::atomic<int> first{recording.size.bscans}; // B-scan that holds one
    ParallelFor(recording.size.bscans, [&](int z) {
        if (z > first || AllFinite(recording.Bscan(z), bscan)) return;
        for (int known = first; z < known && !first.compare_exchange_weak(known, z);) {
        }
    });
    if (first == recording.size.bscans) return -1;
    const float* const x = recording.Bscan(first);
    return first * bscan + (std::find_if(x, x + bscan, [](float v) { return !std::isfinite(v); }) - x);
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
