#include "Formats/Formats.h"
#include "Formats/Writers.h"
#include "Measure.h"
#include "Recording/Format.h"
#include "support/TemporaryFolder.h"

#include <fcntl.h>
#include <unistd.h>

#include <vector>

// Recordings from the page cache, beside reading the same bytes into one small buffer, as `cat FILE > /dev/null` does:
// the samples into a block that stands, without a checksum.

namespace {

using namespace TZM;

constexpr int kSamples = 512, kAscans = 98000, kChannels = 5; // 502 MB in words of 16 bits

void ReadBytes(benchmark::State& state, const std::filesystem::path& file) {
    std::vector<char> buffer(128 << 10);
    Measure(state, [&] {
        const int descriptor = open(file.c_str(), O_RDONLY);
        while (read(descriptor, buffer.data(), buffer.size()) > 0) benchmark::DoNotOptimize(buffer.data());
        close(descriptor);
    });
}

bool RegisterAll() {
    static const TemporaryFolder folder;
    RegisterInstrumentFormats();
    omp_set_num_threads(1);
    const auto file = folder.Write("LINE.DZT", Dzt(kSamples, kAscans, kChannels, 16));
    Add("Bytes", [=](benchmark::State& state) { ReadBytes(state, file); });
    Add("Recording", [=](benchmark::State& state) {
        const auto block = AllocateSamples(std::int64_t{kSamples} * kAscans * kChannels);
        Measure(state, [&] { OpenRecording(file)->Read(0, kChannels, block.get()); });
    });
    return true;
}

const bool registered = RegisterAll();

} // namespace
