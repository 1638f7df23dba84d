// The readers of instruments' forms: the first byte chooses one, the others are its file, or the header beside a small
// one.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>

#include "Formats/Formats.h"
#include "Recording/Refusal.h"

using namespace TZM;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool known = (RegisterInstrumentFormats(), true);
    static const std::filesystem::path stem =
        std::filesystem::temp_directory_path() / ("tzm-fuzz-formats-" + std::to_string(getpid()));
    struct Kind {
        const char *fuzzed, *other;
    };
    constexpr Kind kinds[] = {{".dzt", ".dzg"},   {".ogpr", ".txt"}, {".hd", ".dt1"},  {".rad", ".rd3"},
                              {".iprh", ".iprb"}, {".dzg", ".dzt"},  {".gps", ".dt1"}, {".cor", ".rd3"},
                              {".sgy", ".txt"}};
    if (!known || size < 1) return 0;
    const Kind kind = kinds[data[0] % std::size(kinds)];
    const auto with = [](const char* extension) { return std::filesystem::path(stem).concat(extension); };
    const auto write = [&](const char* extension, const std::string& bytes) {
        std::ofstream(with(extension), std::ios::binary) << bytes;
    };
    write(".hd", "NUMBER OF PTS/TRC = 8\nNUMBER OF TRACES = 3\nTOTAL TIME WINDOW = 4\n");
    write(".rad", "SAMPLES:8\nFREQUENCY:1000\n");
    std::string small(2048, '\1'); // a DZT of one channel as well as A-scans
    small[0] = '\xff', small[4] = 8, small[5] = 0, small[6] = 16, small[7] = 0, small[52] = 1, small[53] = 0;
    small.replace(26, 4, std::string("\0\0\x20\x41", 4));
    write(kind.other, small);
    write(kind.fuzzed, {reinterpret_cast<const char*>(data) + 1, size - 1});
    const std::string extension = kind.fuzzed;
    const char* opened = extension == ".dzg"   ? ".dzt"
                         : extension == ".gps" ? ".dt1"
                         : extension == ".cor" ? ".rd3"
                                               : kind.fuzzed;
    try {
        FirstNotFinite(ReadRecording(with(opened)));
    } catch (const FormatError&) {
    } catch (const std::bad_alloc&) {
    }
    for (const char* file : {".hd", ".rad", kind.other, kind.fuzzed}) std::filesystem::remove(with(file));
    return 0;
}
