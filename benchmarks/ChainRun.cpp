// Times the standard chain on a recording as a C++ host runs it: chain_run FILE REPEATS [THREADS]. Prints the least
// milliseconds. A yardstick for hosts in other languages.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "Chain/Chain.h"
#include "Recording/Format.h"

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    const TZM::Recording recording = TZM::ReadRecording(argv[1]);
    TZM::RunOptions options;
    options.threads = argc > 3 ? std::atoi(argv[3]) : 1;
    double least = std::numeric_limits<double>::infinity();
    for (int i = 0; i <= std::atoi(argv[2]); ++i) {
        const auto begin = std::chrono::steady_clock::now();
        TZM::Recording known = recording;
        TZM::Chain chain = TZM::Chain::Standard(known);
        chain.Settle(known, {});
        chain.Check(known);
        TZM::RequireFinite(known, "the recording");
        const TZM::RunResult result = chain.Run(known, options);
        const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - begin;
        if (i > 0 && taken.count() < least) least = taken.count(); // the first warms up
        if (result.image.size.samples < 1) return 1;
    }
    std::printf("%.4f\n", least);
    return 0;
}
