#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "Recording/Recording.h"

/// A line over ground with points, bars and layers, recorded by two antennas apart from each other.
struct FocusScene {
    double permittivity = 6.5;
    int samples = 512, ascans = 332;
    double deltaT = 0.015625, deltaX = 0.0085; ///< ns, m
    double frequency = 1.5;                    ///< GHz
    double offset = 0.06;                      ///< m between the antennas
    double timeZero = 100;                     ///< sample of an echo without way
    int targets = 12;                          ///< points and bars
    double shallowest = 0.05, deepest = 0.28;  ///< m
    bool layers = true, directWave = true;
    double noise = -15;  ///< dB, its standard deviation below the middle target's apex
    double quality = 30; ///< Q: attenuation exp(-pi f t / Q)
    unsigned seed = 1;
};

/// Two legs of their own length from transmitter to target to receiver, spreading and the antennas' patterns along
/// both; wavelets of three kinds, with the middle of their energy at the time of the echo; attenuation that takes high
/// frequencies first; layers that dip and swing; a direct wave of changing strength; normal noise.
class FocusSceneMaker {
public:
    explicit FocusSceneMaker(const FocusScene& of)
        : scene(of), dice(scene.seed * 7919u + unsigned(scene.permittivity * 16)) {
        kind = int(dice() % 3);
        MakeWavelets();
    }

    TZM::Recording Record() {
        TZM::Recording recording;
        recording.size = {scene.samples, scene.ascans, 1};
        recording.deltaT = scene.deltaT * 1e-9;
        recording.deltaX = scene.deltaX;
        recording.knowsDeltaX = true;
        recording.data = TZM::AllocateSamples(recording.size.Count());
        std::fill_n(recording.data.get(), recording.size.Count(), 0.f);
        const double speed = 0.3 / std::sqrt(scene.permittivity), length = (scene.ascans - 1) * scene.deltaX;
        std::vector<double> apexes;
        for (int i = 0; i < scene.targets; ++i) {
            const double place = Between(0, length), depth = Between(scene.shallowest, scene.deepest);
            const bool bar = dice() % 2 == 0;
            const double strength = Between(0.5, 1.5) * (!bar && dice() % 2 ? -1 : 1);
            double apex = 0;
            for (int y = 0; y < scene.ascans; ++y) {
                const double x = y * scene.deltaX - place;
                const double there = std::hypot(x - scene.offset / 2, depth),
                             back = std::hypot(x + scene.offset / 2, depth);
                const double pattern = depth / there * depth / back;
                const double spreading = bar ? 0.1 / std::sqrt(there * back) : 0.015 / (there * back);
                Echo(recording, y, (there + back) / speed, strength * pattern * spreading);
                apex = std::max(apex, std::abs(strength * pattern * spreading) * Loss((there + back) / speed));
            }
            apexes.push_back(apex);
        }
        std::sort(apexes.begin(), apexes.end());
        const double middle = apexes.empty() ? 0.4 : apexes[apexes.size() / 2];
        if (scene.layers)
            for (int i = 0, count = 1 + int(dice() % 3); i < count; ++i) {
                const double depth = Between(scene.shallowest, 1.4 * scene.deepest), dip = Between(-0.08, 0.08);
                const double swing = Between(0, 0.01), period = Between(0.8, 3), phase = Between(0, 6);
                const double strength = middle * Between(0.5, 2) * 0.1 / depth;
                for (int y = 0; y < scene.ascans; ++y) {
                    const double x = y * scene.deltaX;
                    const double z = std::max(0.02, depth + dip * (x - length / 2) +
                                                        swing * std::sin(2 * M_PI * x / period + phase));
                    Echo(recording, y, 2 * std::hypot(z, scene.offset / 2) / speed, strength);
                }
            }
        if (scene.directWave) {
            double wander = 1;
            for (int y = 0; y < scene.ascans; ++y) {
                wander += 0.05 * Normal() / std::sqrt(scene.ascans);
                Echo(recording, y, scene.offset / 0.3, 10 * middle * wander);
            }
        }
        const double sigma = middle * std::pow(10, scene.noise / 20);
        for (std::int64_t i = 0; i < recording.size.Count(); ++i) recording.data[i] += float(sigma * Normal());
        return recording;
    }

private:
    static constexpr int kLength = 401, kLosses = 24; ///< samples of a wavelet at half a sample, steps of attenuation

    double Wavelet(double t) const {
        const double u = M_PI * scene.frequency * t;
        if (kind == 0) return (1 - 2 * u * u) * std::exp(-u * u);
        if (kind == 1) return 2 * u * std::exp(0.5 - 2 * u * u);
        const double s =
            t * scene.frequency / 1.2 + 1.125; // rises fast, rings on: its energy s^8 exp(-8 s) has its middle at 9 / 8
        return s > 0 ? std::pow(s, 4) * std::exp(4 * (1 - s)) * std::cos(2 * u + 0.6) : 0;
    }

    /// The wavelet behind travel times that lose exp(-pi f t / Q), by its Fourier sum.
    void MakeWavelets() {
        const double step = scene.deltaT / 2;
        const int bins = kLength / 2;
        std::vector<double> re(bins + 1), im(bins + 1);
        for (int k = 0; k <= bins; ++k)
            for (int i = 0; i < kLength; ++i) {
                const double w = Wavelet((i - kLength / 2) * step), turn = 2 * M_PI * k * i / kLength;
                re[k] += w * std::cos(turn), im[k] -= w * std::sin(turn);
            }
        for (int l = 0; l < kLosses; ++l) {
            wavelets.emplace_back(kLength);
            for (int i = 0; i < kLength; ++i) {
                double sum = re[0];
                for (int k = 1; k <= bins; ++k) {
                    const double turn = 2 * M_PI * k * i / kLength, f = k / (kLength * step);
                    if (f > 4 * scene.frequency) break;
                    sum += 2 * std::exp(-M_PI * f * TimeOf(l) / scene.quality) *
                           (re[k] * std::cos(turn) - im[k] * std::sin(turn));
                }
                wavelets.back()[i] = sum / kLength;
            }
        }
    }
    double TimeOf(int loss) const { return loss * scene.samples * scene.deltaT / (kLosses - 1); }
    double Loss(double time) const { return std::exp(-M_PI * scene.frequency * time / scene.quality); }

    void Echo(TZM::Recording& recording, int y, double time, double amplitude) {
        const double place = scene.timeZero + time / scene.deltaT;
        const auto& wavelet = wavelets[std::clamp(int(std::lround(time / TimeOf(1))), 0, kLosses - 1)];
        float* const out = recording.Bscan(0) + std::int64_t{y} * scene.samples;
        const int reach = kLength / 4 - 2;
        for (int s = std::max(0, int(place) - reach); s < std::min(scene.samples, int(place) + reach); ++s) {
            const double at = 2 * (s - place) + kLength / 2;
            const int i = int(std::floor(at));
            const double f = at - i, a = wavelet[i - 1], b = wavelet[i], c = wavelet[i + 1], d = wavelet[i + 2];
            out[s] +=
                float(amplitude * (b + f / 2 * (c - a + f * (2 * a - 5 * b + 4 * c - d + f * (3 * (b - c) + d - a)))));
        }
    }
    double Between(double low, double high) { return low + (high - low) * double(dice()) / 4294967296.; }
    double Normal() {
        double sum = -6;
        for (int i = 0; i < 12; ++i) sum += double(dice()) / 4294967296.;
        return sum;
    }

    FocusScene scene;
    std::mt19937 dice;
    int kind;
    std::vector<std::vector<double>> wavelets;
};

inline TZM::Recording RecordOf(const FocusScene& scene) { return FocusSceneMaker(scene).Record(); }
