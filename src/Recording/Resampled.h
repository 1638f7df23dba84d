#pragma once

#include <memory>

#include "Recording/Format.h"

namespace TZM {

/// The same recording with another time between samples, band-limited. \param deltaT s, above 0.
/// FormatError if a block of such A-scans is too large.
TZM_EXPORT std::unique_ptr<RecordingSource> WithInterval(std::unique_ptr<RecordingSource> source, double deltaT);

/// The same recording with A-scans an even distance apart. They lie where positions tell, the B-scans without any
/// like the last one that has some; else as far apart as the recording tells. An A-scan of the result is the mean of
/// those that lie less than `deltaX`, or the distance between them, away, weighted by a triangle. Where nothing tells
/// how A-scans lie, `deltaX` is taken to be their distance, and they stay as they are. A note tells what was done.
/// \param deltaX m, above 0. FormatError if a block of such B-scans is too large.
TZM_EXPORT std::unique_ptr<RecordingSource> WithSpacing(std::unique_ptr<RecordingSource> source, double deltaX);

} // namespace TZM
