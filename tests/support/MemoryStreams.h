#pragma once

#include <algorithm>
#include <limits>
#include <vector>

#include "Recording/Format.h"
#include "Recording/Refusal.h"
#include "Recording/Sink.h"

namespace TZM {

/// A recording in memory as one that is read.
class MemorySource final : public RecordingSource {
public:
    explicit MemorySource(Recording of) : RecordingSource(of.About()), recording(std::move(of)) {}
    void Read(int first, int bscans, float* out) override {
        ++calls;
        if (first <= failsAt && failsAt < first + bscans) throw FormatError("B-scan 17 is gone");
        const std::int64_t bscan = std::int64_t{about.size.samples} * about.size.ascans;
        most = std::max(most, bscans);
        std::copy_n(recording.Bscan(first), bscan * bscans, out);
    }
    int most = 0; ///< B-scans at once
    int failsAt = -1;
    int calls = 0;

private:
    Recording recording;
};

/// An image that is written into memory.
class MemorySink final : public RecordingSink {
public:
    void Begin(const Recording& about) override {
        image = about.About();
        samples.resize(static_cast<std::size_t>(image.size.Count()));
    }
    void Write(int first, int bscans, const float* from) override {
        const std::int64_t bscan = std::int64_t{image.size.samples} * image.size.ascans;
        if ((first + bscans) * bscan > fullAt) throw Refusal("can't write image: no space left on device");
        std::copy_n(from, bscan * bscans, samples.begin() + first * bscan);
    }
    void Read(int first, int bscans, float* to) override {
        const std::int64_t bscan = std::int64_t{image.size.samples} * image.size.ascans;
        std::copy_n(samples.begin() + first * bscan, bscan * bscans, to);
    }
    void End() override { ended = true; }
    Recording image;
    std::vector<float> samples;
    std::int64_t fullAt = std::numeric_limits<std::int64_t>::max();
    bool ended = false;
};

} // namespace TZM
