#pragma once

#include <filesystem>
#include <memory>

#include "Recording/Recording.h"

namespace TZM {

/// A file that a recording is written to B-scan by B-scan. What isn't ended is no recording; its owner removes it.
class TZM_EXPORT RecordingSink {
public:
    RecordingSink() = default;
    RecordingSink(const RecordingSink&) = delete;
    RecordingSink& operator=(const RecordingSink&) = delete;
    virtual ~RecordingSink();

    /// Begins with what is known of the recording: all but its samples. Refusal if the file can't be written.
    virtual void Begin(const Recording& about) = 0;
    /// Writes B-scans, in any order, and also again. Refusal, with the system's reason, if that fails: on a full disk,
    /// for one.
    virtual void Write(int firstBscan, int bscans, const float* samples) = 0;
    /// Reads what was written. Refusal as above.
    virtual void Read(int firstBscan, int bscans, float* samples) = 0;
    /// Ends the file, which holds all B-scans now. Refusal as above.
    virtual void End() = 0;
};

/// A sink of the form that the extension names. Refusal if no known form has that extension and can be written so.
TZM_EXPORT std::unique_ptr<RecordingSink> OpenSink(const std::filesystem::path& file);

} // namespace TZM
