#include "Formats/Formats.h"

#include "Recording/Refusal.h"

namespace TZM {

namespace {

/// A form that this build can't read: said when its files are met.
[[maybe_unused]] Format Missing(const char* name, const char* files, std::vector<std::string> extensions,
                                const char* library) {
    const std::string text = std::string(": this build lacks ") + library + ", which " + files + " needs";
    const auto refuse = [text](const std::filesystem::path& file) {
        return FormatError("can't use " + file.string() + text);
    };
    return {name,
            files,
            std::move(extensions),
            {},
            [refuse](const std::filesystem::path& file, const ReadOptions&) -> std::unique_ptr<RecordingSource> {
                throw refuse(file);
            },
            [refuse](Recording&, const std::filesystem::path& file) { throw refuse(file); }};
}

} // namespace

#if !TZM_WITH_SEGYIO
Format SegyFormat() { return Missing("segy", "NAME.sgy", {".sgy", ".segy"}, "libsegyio"); }
#endif
#if !TZM_WITH_HDF5
Format Hdf5Format() { return Missing("hdf5", "NAME.h5 or NAME.out", {".h5", ".out", ".hdf5", ".nc"}, "libhdf5"); }
#endif

void RegisterInstrumentFormats() {
    for (const Format& format :
         {DztFormat(), Dt1Format(), RadFormat(), IprhFormat(), OgprFormat(), SegyFormat(), Hdf5Format()})
        RegisterFormat(format);
}

namespace {

/// The library is loaded: its forms are known from then on.
[[maybe_unused]] const bool registered = (RegisterInstrumentFormats(), true);

} // namespace

} // namespace TZM
