#pragma once

#include <cstdint>
#include <memory>

#include "Formats/ByteReader.h"
#include "Recording/Format.h"

namespace TZM {

/// What a sample is in a file. Unsigned ones count less half their range, so that silence is 0.
enum class Word { U8, U16, I16, I32, F32 };

/// Bytes of one.
int SizeOf(Word word);

/// Where the samples of a file stand: those of an A-scan one behind the other, the A-scan `a` of channel `c` from byte
/// begin + a * ascanStep + c * channelStep on.
struct WordLayout {
    Word word = Word::I16;
    std::int64_t begin = 0;
    std::int64_t ascanStep = 0;
    std::int64_t channelStep = 0;
};

/// A recording whose samples stand in one file in such a layout; B-scan i is channel i.
class WordSource final : public RecordingSource {
public:
    /// \param marks words at the head of every A-scan that are no data; the next sample takes their places.
    WordSource(Recording recording, std::unique_ptr<ByteReader> reader, const WordLayout& layout, int marks = 0);

    void Read(int firstBscan, int bscans, float* out) override;

private:
    std::unique_ptr<ByteReader> reader;
    WordLayout layout;
    int marks;
};

/// How many of the first two words of an A-scan are marks or running numbers, no data: they don't continue the A-scan
/// in most of up to 1000 A-scans of the first channel, that is, they lie much farther from the third word than its
/// successors lie from each other.
int CountMarks(const ByteReader& reader, const WordLayout& layout, int samples, int ascans);

} // namespace TZM
