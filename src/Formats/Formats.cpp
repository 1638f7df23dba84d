#include "Formats/Formats.h"

namespace TZM {

void RegisterInstrumentFormats() {
    for (const Format& format : {DztFormat(), Dt1Format(), RadFormat(), IprhFormat(), OgprFormat()})
        RegisterFormat(format);
}

namespace {

/// The library is loaded: its forms are known from then on.
[[maybe_unused]] const bool registered = (RegisterInstrumentFormats(), true);

} // namespace

} // namespace TZM
