// The reader of one form, TZM_FUZZED. Parts of the input, between lines "%%", are its files.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "Formats/Formats.h"
#include "Recording/Refusal.h"

using namespace TZM;

namespace {

/// Extensions of the files; the first one is read.
const std::vector<std::string>& Files() {
    static const std::map<std::string, std::vector<std::string>> known = {{"dzt", {".dzt", ".dzg", ".dzx"}},
                                                                          {"dt1", {".dt1", ".hd", ".gps"}},
                                                                          {"rad", {".rd3", ".rad", ".cor"}},
                                                                          {"iprh", {".iprb", ".iprh", ".cor"}},
                                                                          {"ogpr", {".ogpr"}},
                                                                          {"segy", {".sgy"}},
                                                                          {"hdf5", {".h5"}}};
    return known.at(TZM_FUZZED);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool known = (RegisterInstrumentFormats(), true);
    static const std::filesystem::path stem =
        std::filesystem::temp_directory_path() / ("tzm-fuzz-" TZM_FUZZED "-" + std::to_string(getpid()));
    const auto with = [](const std::string& extension) { return std::filesystem::path(stem).concat(extension); };
    const std::string bytes(reinterpret_cast<const char*>(data), size), between = "\n%%\n";
    std::size_t begin = 0;
    for (const std::string& extension : Files()) {
        if (begin > size) break;
        const std::size_t end = Files().size() == 1 ? size : std::min(bytes.find(between, begin), size);
        std::ofstream(with(extension), std::ios::binary).write(bytes.data() + begin, std::streamsize(end - begin));
        begin = end == size ? size + 1 : end + between.size();
    }
    try {
        if (known) FirstNotFinite(ReadRecording(with(Files()[0])));
    } catch (const FormatError&) {
    } catch (const std::bad_alloc&) {
    }
    for (const std::string& extension : Files()) std::filesystem::remove(with(extension));
    return 0;
}
