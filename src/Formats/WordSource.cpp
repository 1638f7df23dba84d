#include "Formats/WordSource.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "Formats/Sensible.h"

namespace TZM {

namespace {

template <class T>
void Widen(const char* bytes, int count, float zero, float* out) {
    for (int i = 0; i < count; ++i) { // the compiler makes vectors of it
        T word;
        std::memcpy(&word, bytes + static_cast<std::ptrdiff_t>(sizeof(T)) * i, sizeof(T));
        out[i] = static_cast<float>(word) - zero;
    }
}

void Widen(Word word, const char* bytes, int count, float* out) {
    switch (word) {
    case Word::U8: return Widen<std::uint8_t>(bytes, count, 128.f, out);
    case Word::U16: return Widen<std::uint16_t>(bytes, count, 32768.f, out);
    case Word::I16: return Widen<std::int16_t>(bytes, count, 0.f, out);
    case Word::I32: return Widen<std::int32_t>(bytes, count, 0.f, out);
    case Word::F32: std::memcpy(out, bytes, sizeof(float) * static_cast<std::size_t>(count)); return;
    }
}

} // namespace

int SizeOf(Word word) { return word == Word::U8 ? 1 : word == Word::U16 || word == Word::I16 ? 2 : 4; }

WordSource::WordSource(Recording recording, std::unique_ptr<ByteReader> opened, const WordLayout& place, int markWords)
    : RecordingSource(Sensible(std::move(recording))), reader(std::move(opened)), layout(place), marks(markWords) {
    reader->Close();
}

void WordSource::Read(int firstBscan, int bscans, float* out) {
    const int samples = about.size.samples, ascans = about.size.ascans;
    const std::int64_t ascanBytes = std::int64_t{SizeOf(layout.word)} * samples;
    // Neighbouring A-scans of all wanted channels in pieces that stay in the cache.
    constexpr std::int64_t kPiece = 1 << 20;
    const std::int64_t span = layout.channelStep * (bscans - 1) + ascanBytes;
    const int most = static_cast<int>(std::clamp<std::int64_t>((kPiece - span) / layout.ascanStep + 1, 1, ascans));
    std::vector<char> piece(static_cast<std::size_t>(layout.ascanStep * (most - 1) + span));
    for (int first = 0; first < ascans; first += most) {
        const int count = std::min(most, ascans - first);
        reader->Read(layout.begin + layout.ascanStep * first + layout.channelStep * firstBscan,
                     layout.ascanStep * (count - 1) + span, piece.data());
        for (int a = 0; a < count; ++a)
            for (int b = 0; b < bscans; ++b) {
                float* const ascan = out + (std::int64_t{b} * ascans + first + a) * samples;
                Widen(layout.word, piece.data() + layout.ascanStep * a + layout.channelStep * b, samples, ascan);
                std::fill_n(ascan, marks, ascan[marks]);
            }
    }
}

int CountMarks(const ByteReader& reader, const WordLayout& layout, int samples, int ascans) {
    constexpr int kSeen = 10, kMarks = 2, kEnough = 1000;
    constexpr float kFar = 8; // times the largest step within the A-scan's head
    if (samples < kSeen || ascans < 2) return 0;
    int apart[kMarks] = {}, seen = 0;
    for (int a = 0; a < ascans; a += std::max(1, ascans / kEnough), ++seen) {
        char bytes[kSeen * 4];
        float head[kSeen] = {};
        reader.Read(layout.begin + layout.ascanStep * a, std::int64_t{kSeen} * SizeOf(layout.word), bytes);
        Widen(layout.word, bytes, kSeen, head);
        float step = 1;
        for (int i = kMarks; i + 1 < kSeen; ++i) step = std::max(step, std::abs(head[i + 1] - head[i]));
        for (int i = 0; i < kMarks; ++i) apart[i] += std::abs(head[i] - head[kMarks]) > kFar * step;
    }
    for (int i = kMarks; i > 0; --i)
        if (2 * apart[i - 1] > seen) return i;
    return 0;
}

} // namespace TZM
