#pragma once

#include <filesystem>
#include <memory>
#include <vector>

#include "Recording/Format.h"

namespace TZM {

/// Opens what one or several files hold as one recording. Files are lines of a survey, each a lane; files of one array,
/// whose names end in _A001, _A002 or _A01, _A02 and so on, are channels of one lane. B-scan i is channel i mod n of
/// lane i / n. Lines of unequal length are filled up with zeros and carry valid ranges; lines that were run backwards
/// are turned where a survey document says so, or where positions do (the way from the first to the last position leads
/// against that of the first line), or, without positions, their header.
///
/// \param inputs files, folders, whose recordings are taken in the order of their names (numbers in them count), and
/// patterns with *, ? and [], of which a recording that is named twice is taken once; or one survey document:
///
///     {"files": ["LINE1.DT1", {"file": "LINE2.DT1", "reverse": true, "first": 10, "count": 400}],
///      "channels": [1], "line_spacing": 0.25, "delta_x": 0.05, "channel_names": ["400 MHz"]}
///
/// Files are named relative to the document; "first" and "count" cut A-scans out of a file, ahead of turning it. A list
/// of files in place of one holds the channels of one lane, "channels" the numbers, from 1 on, of those that are taken.
/// FormatError for what OpenRecording refuses, for an empty folder, and for files that don't fit together: another
/// form, another number of samples or channels, another interval; both names and values are told. With
/// ReadOptions::resample the intervals are made to fit, and shorter A-scans are filled up with zeros; with
/// ReadOptions::deltaX A-scans are brought to an even distance (WithSpacing).
TZM_EXPORT std::unique_ptr<RecordingSource> OpenSurvey(const std::vector<std::filesystem::path>& inputs,
                                                       const ReadOptions& options = {});

} // namespace TZM
