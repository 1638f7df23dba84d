// Reads a recording, runs a chain document on it and writes the image, without VTK:
//     core_only RECORDING CHAIN.json IMAGE.f32
// Without arguments it makes a recording and a chain of its own.
#include <cstdio>
#include <exception>
#include <fstream>
#include <string>

#include <json/reader.h>

#include "Chain/Chain.h"
#include "Recording/Format.h"

namespace {

Json::Value ReadJson(const std::string& file) {
    Json::Value root;
    std::ifstream(file) >> root;
    return root;
}

/// A plate below 64 lines of air: an echo at sample 80 of every A-scan.
TZM::Recording Plate() {
    TZM::Recording recording;
    recording.size = {128, 64, 5};
    recording.timeZero = 10;
    recording.permittivity = 6;
    recording.data = TZM::AllocateSamples(recording.size.Count());
    for (std::int64_t i = 0; i < recording.size.Count(); ++i)
        recording.data[i] = i % recording.size.samples == 80 ? 1000.f : 0.f;
    return recording;
}

} // namespace

int main(int argc, char** argv) {
    try {
        TZM::Recording recording = argc > 1 ? TZM::ReadRecording(argv[1]) : Plate();
        TZM::Chain chain;
        if (argc > 2) {
            chain = TZM::Chain::FromDocument(ReadJson(argv[2]), argv[2]);
        } else {
            chain.Add("OffsetRemoval");
            chain.Add("FkMigration");
            chain.Add("Mig2Post");
        }
        for (const TZM::AssumedNumber& number : chain.Settle(recording, {})) std::printf("%s\n", number.Text().c_str());
        for (const std::string& warning : chain.Check(recording)) std::printf("%s\n", warning.c_str());

        TZM::RunOptions options;
        options.done = [](std::size_t, const TZM::StepReport& step) {
            std::printf("%-16s %s to %s, %.3f s\n", step.algorithm.c_str(), step.input.Text().c_str(),
                        step.output.Text().c_str(), step.seconds);
        };
        TZM::Recording image = chain.Run(std::move(recording), options).image;
        TZM::WriteRecording(image, argc > 3 ? argv[3] : "image.f32");
        std::printf("%s, sha256 %s\n", image.file.c_str(), image.checksum.c_str());
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
