#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Recording/Recording.h"
#include "Recording/Sink.h"

namespace TZM {

/// An opened recording. What it is was read when it was opened; its samples are read B-scan by B-scan.
class TZM_EXPORT RecordingSource {
public:
    explicit RecordingSource(Recording recording) : about(std::move(recording)) {}
    RecordingSource(const RecordingSource&) = delete;
    RecordingSource& operator=(const RecordingSource&) = delete;
    virtual ~RecordingSource();

    /// Sizes, geometry and names; without samples and checksum.
    const Recording& About() const { return about; }

    /// Reads `bscans` B-scans from `firstBscan` on into `out`. FormatError if the file can't be read or doesn't hold
    /// what it told.
    virtual void Read(int firstBscan, int bscans, float* out) = 0;

    /// SHA-256 of the file; of several files that of their checksums, one behind the other.
    virtual std::string Checksum() const;

    /// FormatError if the file tells a checksum of its samples, and it isn't this one.
    virtual void RequireChecksum(const std::string& checksum) const;

    /// Adds a line to the notes of the recording.
    void Note(const std::string& line) { about.notes.push_back(line); }

protected:
    Recording about;
};

/// What a user may decide of the reading.
struct TZM_EXPORT ReadOptions {
    bool keepMarks = false;             ///< words at the head of A-scans that are marks stay where they are
    std::optional<double> intervalUnit; ///< s, of the interval of samples in a form that doesn't tell its unit
    std::string component = "Ez";       ///< of the field, in a form that holds several
    bool resample = false;              ///< files of several intervals are brought to the finest; of OpenSurvey
    std::optional<double> deltaX;       ///< m, to which A-scans are resampled along the scan; of OpenSurvey
};

/// A form in which recordings come. A library that knows one registers it when it is loaded.
struct TZM_EXPORT Format {
    std::string name;                    ///< "raw"
    std::string files;                   ///< for messages: "NAME.f32 or NAME.json (a raw block and its sidecar)"
    std::vector<std::string> extensions; ///< with the dot, in lower case
    /// Whether a file's first bytes, up to 4096, are of this form; none if they can't tell.
    std::function<bool(const std::string& head)> recognises;
    /// Opens a file that exists or, for a form of several files, one of them. FormatError for every flaw.
    std::function<std::unique_ptr<RecordingSource>(const std::filesystem::path&, const ReadOptions&)> open;
    /// Writes a recording and sets its `file` and `checksum`; none if that can't be done. \param file with the
    /// extension. Refusal if the file can't be written.
    std::function<void(Recording&, const std::filesystem::path& file)> write;
    /// A file of this form that is written B-scan by B-scan; none if that can't be done.
    std::function<std::unique_ptr<RecordingSink>(const std::filesystem::path& file)> sink = {};
};

/// Adds a form; one of the same name is replaced. Not while another thread reads or writes recordings.
TZM_EXPORT void RegisterFormat(const Format& format);

/// All forms that are known, in the order in which they came; the raw one is the first.
TZM_EXPORT const std::vector<Format>& Formats();

/// Opens a recording of any form that is known: the extension tells the form, unless the content says that the file is
/// of another one, which is then told in the recording's notes. FormatError for a missing file, one of no known form,
/// and every flaw.
TZM_EXPORT std::unique_ptr<RecordingSource> OpenRecording(const std::filesystem::path& input,
                                                          const ReadOptions& options = {});

/// Reads all of a recording. FormatError as above, std::bad_alloc without memory for it.
TZM_EXPORT Recording ReadRecording(const std::filesystem::path& input, const ReadOptions& options = {});
TZM_EXPORT Recording ReadRecording(RecordingSource& source);

/// A count as an int. FormatError that tells file and what is counted if it is below 1 or beyond an int.
TZM_EXPORT int CheckedCount(const std::filesystem::path& file, std::int64_t count, const std::string& what);

/// Writes a recording in the form that the extension names, and sets its `file` and `checksum`. Refusal if no known
/// form has that extension and can be written, or if the file can't be written.
TZM_EXPORT void WriteRecording(Recording& recording, const std::filesystem::path& file);

} // namespace TZM
