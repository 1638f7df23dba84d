#include "Scene.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace tzmchain {

using namespace TZM;

namespace {

constexpr double kLightSpeed = 3e8; // m/s
constexpr double kPi = 3.14159265358979323846;

/// First derivative of a Gauss pulse with its spectral peak at `frequency`, 1 at its extremes: a negative lobe, then a
/// positive one. Its envelope peaks at t = 0, so that an echo stands where its travel time says.
double Wavelet(double t, double frequency) {
    const double u = 2 * kPi * frequency * t;
    return u * std::exp(0.5 * (1 - u * u));
}

/// One pair's trace while it is put together.
struct Trace {
    double timeZero; ///< sample
    std::vector<double> values;
};

/// Adds `amplitude` * wavelet, delayed by `delay` seconds after time zero.
void AddEcho(const Scene& scene, double delay, double amplitude, Trace& trace) {
    const double place = trace.timeZero + delay / scene.deltaT;
    const double reach = 6.5 / (2 * kPi * scene.frequency) / scene.deltaT; // samples; the wavelet is 1e-8 there
    const int begin = static_cast<int>(std::max(0.0, std::ceil(place - reach)));
    const int end = static_cast<int>(std::min<double>(scene.samples, std::floor(place + reach) + 1));
    for (int s = begin; s < end; ++s)
        trace.values[s] += amplitude * Wavelet((s - place) * scene.deltaT, scene.frequency);
}

/// Echo of a reflector at the end of a path of `length` metres through the slab.
void AddReflection(const Scene& scene, double length, double reflectance, Trace& trace) {
    const double speed = kLightSpeed / std::sqrt(scene.permittivity);
    const double loss = 0.2 / std::max(length, 0.02) * std::exp(-scene.attenuation * (length - 0.2));
    AddEcho(scene, length / speed, scene.echoAmplitude * reflectance * loss, trace);
}

/// Places of a layer's bars between `begin` and `end`, both included.
template <class Body>
void ForEachBar(const BarLayer& layer, double begin, double end, Body&& body) {
    for (int i = 0; layer.first + i * layer.pitch <= end; ++i)
        if (layer.first + i * layer.pitch >= begin) body(layer.first + i * layer.pitch);
}

/// What all traces of one pair have in common: direct wave and ringing.
Trace Background(const Scene& scene, int number) {
    const Pair& pair = kPairs[number];
    Trace trace{TimeZero(scene, pair), std::vector<double>(static_cast<std::size_t>(scene.samples))};
    const double apart = (pair.transmitter - pair.receiver) * scene.elementPitch,
                 path = std::hypot(apart, scene.directPath);
    AddEcho(scene, path / kLightSpeed, scene.directAmplitude * scene.directPath / path, trace);
    const double rate =
        0.8 * scene.frequency * (1 + 0.03 * number); // a little lower than the pulse, its own for each pair
    for (int s = static_cast<int>(std::max(0.0, std::ceil(trace.timeZero))); s < scene.samples; ++s) {
        const double t = (s - trace.timeZero) * scene.deltaT;
        trace.values[s] += scene.ringingAmplitude * std::sin(2 * kPi * rate * t) * std::exp(-t / 4e-9);
    }
    return trace;
}

/// Nearly normal noise from integers alone: twelve 16-bit numbers have a variance of 2 to the 32nd - 1.
class Noise {
public:
    explicit Noise(unsigned seed) : state(seed) {}
    double Next() {
        std::int64_t sum = -6 * 65535;
        for (int i = 0; i < 3; ++i)
            for (std::uint64_t bits = Bits(), k = 0; k < 4; ++k, bits >>= 16) sum += static_cast<int>(bits & 65535);
        return static_cast<double>(sum) / 65536;
    }

private:
    std::uint64_t Bits() { // SplitMix64: Steele, Lea and Flood, OOPSLA 2014
        std::uint64_t z = state += 0x9e3779b97f4a7c15;
        z = (z ^ z >> 30) * 0xbf58476d1ce4e5b9;
        z = (z ^ z >> 27) * 0x94d049bb133111eb;
        return z ^ z >> 31;
    }
    std::uint64_t state;
};

float Counts(double value) { return static_cast<float>(std::clamp(std::nearbyint(value), -32768.0, 32767.0)); }

} // namespace

double TimeZero(const Scene& scene, const Pair& pair) {
    const double lines = (scene.elementDelay[pair.transmitter] + scene.elementDelay[pair.receiver]) / 2 +
                         (pair.transmitter == pair.receiver ? 0 : scene.crossDelay);
    return scene.timeZero + lines / scene.deltaT;
}

double BarPath(bool across, double depth, double barPlace, double x, double transmitterY, double receiverY) {
    // Both ways lie in planes that contain the bar; turned into one plane, the shortest way is a straight line.
    if (across) return std::hypot(2 * std::hypot(x - barPlace, depth), transmitterY - receiverY);
    return std::hypot(transmitterY - barPlace, depth) + std::hypot(receiverY - barPlace, depth);
}

Recording Record(const Scene& scene) {
    const int pairs = static_cast<int>(kPairs.size());
    const double midpointPitch = scene.elementPitch / 2, lanePitch = pairs * midpointPitch;
    const double length = (scene.ascans - 1) * scene.deltaX, width = scene.lanes * lanePitch;

    Recording recording;
    recording.size = {scene.samples, scene.ascans, pairs * scene.lanes};
    recording.deltaT = scene.deltaT;
    recording.deltaX = scene.deltaX;
    recording.knowsDeltaX = true;
    recording.lineSpacing = midpointPitch;
    recording.antennaOffset = scene.elementPitch;
    recording.permittivity = scene.permittivity;
    for (const Pair& pair : kPairs) recording.channels.push_back(pair.name);
    recording.data = AllocateSamples(recording.size.Count());

    Noise noise(scene.seed);
    float* out = recording.data.get();
    for (int z = 0; z < recording.size.bscans; ++z) {
        const Pair& pair = kPairs[z % pairs];
        const Trace background = Background(scene, z % pairs);
        const double offset = 60.0 - 35.0 * (z % pairs), gain = scene.gain[z % pairs];
        const double lane = z / pairs * lanePitch; // place of the first element
        const double txY = lane + pair.transmitter * scene.elementPitch,
                     rxY = lane + pair.receiver * scene.elementPitch;
        double wander = 0; // stays within about five times its steps
        for (int y = 0; y < scene.ascans; ++y) {
            wander = 0.98 * wander + scene.wander * noise.Next();
            const double x = y * scene.deltaX;
            Trace trace = background;
            for (const BarLayer& layer : scene.bars)
                ForEachBar(layer, 0, layer.across ? length : width, [&](double place) {
                    const double path = BarPath(layer.across, layer.depth, place, x, txY, rxY);
                    AddReflection(scene, path, layer.reflectance, trace);
                });
            AddReflection(scene, std::hypot(2 * scene.slabThickness, txY - rxY), scene.backWallReflectance, trace);
            for (const double value : trace.values)
                *out++ = Counts(gain * value + offset + wander + scene.noise * noise.Next());
        }
    }
    return recording;
}

} // namespace tzmchain
