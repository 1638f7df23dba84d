// How far the permittivity of synthetic lines is found, over many seeds: errors, what the stated errors cover, and how
// often empty ground gets a number; and how far time zero is, if it isn't known. Usage: focus_statistics [SEEDS
// [FIRST_SEED [verbose]]]
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "Focus/FindTimeZero.h"
#include "support/FocusScenes.h"

using namespace TZM;

namespace {

struct Tally {
    int runs = 0, numbers = 0, within = 0, covered = 0;
    std::vector<double> errors;

    void Add(const PermittivityFocus& focus, double truth, bool verbose) {
        ++runs;
        if (verbose)
            std::printf("    %-9s contrast %.3f chance %.3f value %.3f error %.3f entropy %.3f\n",
                        WordOf(focus.verdict), focus.contrast, focus.chance, focus.permittivity.value_or(0),
                        focus.error.value_or(0), focus.byEntropy.value_or(0));
        if (!focus.permittivity) return;
        ++numbers;
        const double off = *focus.permittivity / truth - 1;
        errors.push_back(off);
        within += std::abs(off) <= 0.02;
        covered += std::abs(*focus.permittivity - truth) <= *focus.error;
    }
    void AddTimeZero(const TimeZeroFocus& focus, double truth) {
        ++runs;
        if (!focus.timeZero) return;
        ++numbers;
        const double off = *focus.timeZero - truth;
        errors.push_back(off / 100); // printed times 100: samples
        within += std::abs(off) <= 12;
        covered += std::abs(off) <= *focus.error;
    }
    void Print(const char* name, const char* bound = "2 %", const char* unit = "%") const {
        double mean = 0, squares = 0;
        for (const double e : errors) mean += e / double(errors.size()), squares += e * e / double(errors.size());
        std::printf("%-44s %3d runs, %3d numbers, %3d within %s, %3d within one error; mean %+.2f %s, rms %.2f %s\n",
                    name, runs, numbers, within, bound, covered, 100 * mean, unit, 100 * std::sqrt(squares), unit);
        std::fflush(stdout);
    }
};

} // namespace

int main(int argc, char** argv) {
    const int seeds = argc > 1 ? std::atoi(argv[1]) : 20, first = argc > 2 ? std::atoi(argv[2]) : 1;
    const bool verbose = argc > 3;
    Tally all;
    for (const double noise : {-20., -12.})
        for (const double permittivity : {4., 6.5, 9., 12.}) {
            Tally tally;
            for (int seed = first; seed < first + seeds; ++seed) {
                FocusScene scene;
                scene.seed = unsigned(seed);
                scene.permittivity = permittivity;
                scene.noise = noise;
                FocusOptions options;
                options.timeZero = scene.timeZero;
                const PermittivityFocus focus = FindPermittivity(RecordOf(scene), options);
                tally.Add(focus, permittivity, verbose);
                all.Add(focus, permittivity, false);
            }
            char name[64];
            std::snprintf(name, sizeof name, "permittivity %g, noise at %g dB", permittivity, noise);
            tally.Print(name);
        }
    all.Print("all of these");
    for (const bool layers : {true, false}) {
        Tally tally;
        for (int seed = first; seed < first + seeds; ++seed) {
            FocusScene scene;
            scene.seed = unsigned(seed);
            scene.targets = 0;
            scene.layers = layers;
            FocusOptions options;
            options.timeZero = scene.timeZero;
            tally.Add(FindPermittivity(RecordOf(scene), options), scene.permittivity, verbose);
        }
        tally.Print(layers ? "layers and noise alone" : "noise and direct wave alone");
    }
    Tally timeZeros, beside;
    for (const double permittivity : {4., 6.5, 9., 12.})
        for (int seed = first; seed < first + seeds; ++seed) {
            FocusScene scene;
            scene.seed = unsigned(seed);
            scene.permittivity = permittivity;
            const TimeZeroFocus focus = FindTimeZero(RecordOf(scene));
            timeZeros.AddTimeZero(focus, scene.timeZero);
            beside.Add(focus.permittivity, permittivity, verbose);
        }
    timeZeros.Print("time zero searched", "12 samples", "samples");
    beside.Print("permittivity beside it");
}
