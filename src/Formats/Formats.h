#pragma once

#include "Recording/Format.h"

namespace TZM {

/// Makes the forms of this library known to ReadRecording. Loading the library does the same.
TZM_EXPORT void RegisterInstrumentFormats();

// Each in a file of its own.
Format DztFormat();  ///< NAME.DZT: one file, all channels
Format Dt1Format();  ///< NAME.DT1 with NAME.HD: one file a line
Format RadFormat();  ///< NAME.rd3 or NAME.rd7 with NAME.rad: one file a channel
Format IprhFormat(); ///< NAME.iprb with NAME.iprh: one file a channel
Format OgprFormat(); ///< NAME.ogpr: one file, all channels of an array
Format SegyFormat(); ///< NAME.sgy: one file, lines by their numbers; needs libsegyio when the library is built
Format Hdf5Format(); ///< NAME.h5 or NAME.out: one file, receivers of a model, or a block; needs libhdf5

} // namespace TZM
