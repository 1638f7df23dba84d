// The readers: a sidecar of any text beside a raw block, and the same bytes as a VTK image.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <new>

#include "Imaging/Vti/VtiFormat.h"
#include "Recording/Format.h"
#include "Recording/Refusal.h"

using namespace TZM;

namespace {

void Read(const std::filesystem::path& file) {
    try {
        FirstNotFinite(ReadRecording(file));
    } catch (const Refusal&) {
    } catch (const std::bad_alloc&) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool readsImages = (RegisterVtiFormat(), true);
    static const std::filesystem::path stem =
        std::filesystem::temp_directory_path() / ("tzm-fuzz-" + std::to_string(getpid()));
    (void)readsImages;
    const auto with = [](const char* extension) { return std::filesystem::path(stem).concat(extension); };
    std::ofstream(with(".json"), std::ios::binary).write(reinterpret_cast<const char*>(data), std::streamsize(size));
    std::ofstream(with(".f32"), std::ios::binary) << std::string(480, '\1');
    Read(with(".f32"));
    std::filesystem::rename(with(".json"), with(".vti"));
    Read(with(".vti"));
    for (const char* extension : {".f32", ".vti"}) std::filesystem::remove(with(extension));
    return 0;
}
