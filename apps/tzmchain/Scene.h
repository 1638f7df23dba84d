#pragma once

#include "Recording/Recording.h"

#include <array>
#include <vector>

namespace tzmchain {

/// A layer of parallel steel bars in the slab. Bars across lie at x = first, first + pitch, ... along the scan and run
/// under all lines; bars along lie at such places y and run under the whole scan.
struct BarLayer {
    bool across;
    double depth;       ///< m, from the surface to the bar
    double first;       ///< m
    double pitch;       ///< m, above 0
    double reflectance; ///< amplitude of the echo, before spreading and attenuation
};

/// A reinforced slab, and the array of three transmitters and three receivers that is drawn over it lane by lane.
/// Transmitter k and receiver k stand side by side at one place, so that a pair k, k is monostatic.
struct Scene {
    int samples = 512;
    int ascans = 300;
    int lanes = 7;
    double deltaT = 5e-11; ///< s
    double deltaX = 0.005; ///< m

    double permittivity = 6.5;
    double attenuation = 0.5;    ///< Np/m
    double slabThickness = 0.95; ///< m
    double backWallReflectance = 2.5;
    std::vector<BarLayer> bars = {
        {true, 0.10, 0.15, 0.20, 1.0}, {false, 0.16, 0.10, 0.25, 0.8}, {true, 0.65, 0.25, 0.30, 1.5}};

    double frequency = 1.0e9;   ///< Hz, of the strongest part of the spectrum
    double elementPitch = 0.10; ///< m between neighbouring elements; the midpoints of the five pairs lie half as far
    int timeZero = 40;          ///< sample at which a wave of no path length arrives in the first pair
    double directPath =
        0.10; ///< m, way of the direct wave of a monostatic pair, around the shield between its elements
    double directAmplitude = 24000; ///< counts, of a monostatic pair
    double echoAmplitude = 9000;    ///< counts, of a reflectance of 1 at a path of 0.2 m
    double ringingAmplitude = 900;  ///< counts
    double noise = 25;              ///< counts rms
    double wander = 60;             ///< counts rms by which the offset changes from A-scan to A-scan
    unsigned seed = 1;

    std::array<double, 3> elementDelay = {0, 2e-10, -1e-10}; ///< s that a place's lines add to those of the first one
    double crossDelay = 5e-11; ///< s that a bistatic pair's lines are longer than the mean of its elements'
    std::array<double, 5> gain = {1, 0.45, 0.85, 0.55, 1.1}; ///< of each pair
};

/// Of the slab's other scene: a mesh of 10 cm near the surface, above a row of bars.
inline const std::vector<BarLayer> kMeshBars = {
    {true, 0.07, 0.05, 0.10, 1.0}, {false, 0.08, 0.05, 0.10, 0.8}, {true, 0.50, 0.25, 0.30, 1.5}};

/// One transmitter-receiver pair: element numbers from 0, and its name.
struct Pair {
    int transmitter;
    int receiver;
    const char* name;
};

/// The five pairs in the order of the B-scans of a lane; their midpoints are evenly spaced.
inline constexpr std::array<Pair, 5> kPairs = {
    {{0, 0, "TX1RX1"}, {1, 0, "TX2RX1"}, {1, 1, "TX2RX2"}, {1, 2, "TX2RX3"}, {2, 2, "TX3RX3"}}};

/// Sample at which a wave of no path length arrives in one of the pairs.
double TimeZero(const Scene& scene, const Pair& pair);

/// Length of the shortest way from transmitter to bar to receiver, in metres. `x` is the place of the array along the
/// scan, `transmitterY` and `receiverY` are those of the elements across it; `barPlace` counts along x for bars across
/// and along y for bars along.
double BarPath(bool across, double depth, double barPlace, double x, double transmitterY, double receiverY);

/// What the array records: 5 * lanes B-scans of signed 16-bit counts. Each trace is the direct wave (through the air
/// between the elements, around the shield), an echo of every bar and of the back wall with its true travel time,
/// spreading and attenuation, and, alike in all traces of a pair, ringing of the antenna and an offset; then noise.
/// Pairs differ in gain and in the length of their lines. The same scene gives the same counts on every platform.
TZM::Recording Record(const Scene& scene);

} // namespace tzmchain
