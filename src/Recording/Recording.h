#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Array/Export.h"
#include "Framework/ImageProps.h"

namespace TZM {

/// Sizes of a block, the fastest running first.
struct TZM_EXPORT Dimensions {
    int samples = 0; ///< per A-scan
    int ascans = 0;  ///< per B-scan
    int bscans = 0;

    std::int64_t Count() const { return std::int64_t{samples} * ascans * bscans; }
    std::string Text() const; ///< "512 x 300 x 35"
    bool operator==(const Dimensions& o) const {
        return samples == o.samples && ascans == o.ascans && bscans == o.bscans;
    }
};

/// Memory of a block: element (z * ascans + y) * samples + s. Shared, so that views of it can hold on to it.
using Samples = std::shared_ptr<float[]>;

/// Uninitialised memory for `count` floats, from 1 MiB on in huge pages where the system has them: the first touch of a
/// small page costs more than the arithmetic on it. A program keeps the last block that it released of 2 to 64 MiB for
/// the next one. std::bad_alloc if there is none, or if `count` is below 1.
TZM_EXPORT Samples AllocateSamples(std::int64_t count);

/// Where an A-scan was recorded.
struct TZM_EXPORT Position {
    int bscan = 0;
    int ascan = 0;
    double east = 0;   ///< easting in m, or longitude in degrees
    double north = 0;  ///< northing in m, or latitude in degrees
    double height = 0; ///< m
};

/// Where a block lies in a map. Its samples run downwards.
struct TZM_EXPORT Placement {
    double east = 0, north = 0, height = 0; ///< m, of the first A-scan of the first B-scan
    double along[2] = {0, 1};               ///< unit vector, east and north, of the way along the scan
    double across[2] = {1, 0};              ///< the same from B-scan to B-scan
};

/// A block of samples and what places it in time and space. Copies share the samples.
struct TZM_EXPORT Recording {
    Dimensions size;
    Samples data;                        ///< null if only the rest is of interest
    double deltaT = 5e-11;               ///< s between samples
    double deltaX = 0.005;               ///< m between A-scans
    bool knowsDeltaX = false;            ///< deltaX was told; else the A-scans were recorded over time
    double startTime = 0;                ///< s, of the first sample that was recorded, for the origin of an image
    int firstSample = 0;                 ///< samples that were recorded ahead of the first one here
    double startX = 0;                   ///< m, of the first A-scan
    bool backwards = false;              ///< the file tells that its last A-scan lies ahead of the first one
    std::optional<double> lineSpacing;   ///< m between B-scans, where it is known and one for all
    std::optional<int> timeZero;         ///< sample at which a wave of no path length arrives, where it is known
    std::vector<int> timeZeros;          ///< the same of each B-scan, where they are known one by one; else empty
    std::optional<double> datum;         ///< m, elevation of what arrives at time zero, where it is one for all A-scans
    std::optional<double> permittivity;  ///< relative, of the ground, where it is known
    std::optional<double> antennaOffset; ///< m from transmitter to receiver in a bistatic channel, where it is known
    bool oneAntennaPair = false;         ///< all channels were recorded by the same antennas: none is bistatic
    std::vector<std::string> channels;   ///< names, if any: B-scan i belongs to channel i mod their number
    std::vector<BscanInfo> validRanges;  ///< the A-scans of each B-scan that hold measured data; empty: all
    std::vector<Position> positions;     ///< where they are known, in the order of B-scans and A-scans
    std::string coordinates;             ///< of the positions: "EPSG:4326" for degrees, "EPSG:32632" and others for m
    std::optional<Placement> placement;  ///< where an image of the block is to lie, if not in a system of its own
    std::optional<int> bits;             ///< width of a sample of the digitiser, where it is known

    std::filesystem::path file;     ///< what was read: the file that holds the samples
    std::string format;             ///< its form, by the name that the list of formats has for it
    std::string checksum;           ///< SHA-256 of that file
    std::vector<std::string> notes; ///< what a user should know of how it was read, a line each

    const float* Bscan(int z) const { return data.get() + std::int64_t{z} * size.ascans * size.samples; }
    float* Bscan(int z) { return data.get() + std::int64_t{z} * size.ascans * size.samples; }

    /// Time of the first sample, in s.
    double FirstTime() const { return startTime + firstSample * deltaT; }
    /// The block as algorithms take it, with its valid ranges.
    ImageProps Props() const;
    /// The same without its samples.
    Recording About() const;
};

/// Index of the first element that is NaN or infinite, or -1.
TZM_EXPORT std::int64_t FirstNotFinite(const Recording& recording);

/// Refusal that tells where, if the block holds a NaN or an infinity. \param name what the text begins with.
TZM_EXPORT void RequireFinite(const Recording& recording, const std::string& name);

} // namespace TZM
