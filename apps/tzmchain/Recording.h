#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tzmchain {

/// Sizes of a block, the fastest running first.
struct Dimensions {
    int samples = 0; ///< per A-scan
    int ascans = 0;  ///< per B-scan
    int bscans = 0;

    std::int64_t Count() const { return std::int64_t{samples} * ascans * bscans; }
    std::string Text() const; ///< "512 x 300 x 35"
    bool operator==(const Dimensions& o) const {
        return samples == o.samples && ascans == o.ascans && bscans == o.bscans;
    }
};

/// Memory of a block: element (z * ascans + y) * samples + s. Shared, so that a VTK image can hold on to it.
using Samples = std::shared_ptr<float[]>;

/// Uninitialised memory for `count` floats, in huge pages where the system has them: the first touch of a small page
/// costs more than the arithmetic on it. std::bad_alloc if there is none.
Samples AllocateSamples(std::int64_t count);

/// A block of samples and what places it in time and space.
struct Recording {
    Dimensions size;
    Samples data;
    double deltaT = 5e-11;               ///< s between samples
    double deltaX = 0.005;               ///< m between A-scans
    double startTime = 0;                ///< s, of the first sample, for the origin of an image file
    double startX = 0;                   ///< m, of the first A-scan
    std::optional<double> lineSpacing;   ///< m between B-scans, where it is known and one for all
    std::optional<int> timeZero;         ///< sample of the block, where it is known
    std::optional<double> permittivity;  ///< relative, of the ground, where it is known
    std::optional<double> antennaOffset; ///< m from transmitter to receiver in a bistatic channel, where it is known
    bool oneAntennaPair = false;         ///< all channels were recorded by the same antennas: none is bistatic
    std::vector<std::string> channels;   ///< names, if any: B-scan i belongs to channel i mod their number

    std::filesystem::path file; ///< what was read: the block or the .vti
    std::string checksum;       ///< SHA-256 of that file

    const float* Bscan(int z) const { return data.get() + std::int64_t{z} * size.ascans * size.samples; }
    float* Bscan(int z) { return data.get() + std::int64_t{z} * size.ascans * size.samples; }
};

/// Reads NAME.f32 with NAME.json, whichever of the two is given, or NAME.vti. Every flaw is a Refusal: a file that is
/// missing, doesn't parse or has another size or checksum than told, sizes that aren't positive, intervals not above 0.
Recording ReadRecording(const std::filesystem::path& input);

/// Writes STEM.f32 and STEM.json, and sets `file` and `checksum`.
void WriteRecording(Recording& recording, const std::filesystem::path& stem);

/// Index of the first element that is NaN or infinite, or -1.
std::int64_t FirstNotFinite(const Recording& recording);

/// Refusal that tells where, if the block holds a NaN or an infinity.
void RequireFinite(const Recording& recording, const std::string& name);

} // namespace tzmchain
