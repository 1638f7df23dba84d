#pragma once

#include <memory>
#include <string>

#include "Formats/TextHeader.h"
#include "Formats/WordSource.h"

namespace TZM {

/// One channel of a recording: a file of samples and nothing else, and a header of text beside it.
struct ChannelFile {
    ChannelFile(const std::filesystem::path& data, const std::filesystem::path& headerFile, Word word);

    /// Takes the number of A-scans from the file's size, which wins over LAST TRACE, and what headers of this kind
    /// share: ANTENNA SEPARATION, the positions in NAME.cor.
    void Open(const std::string& format, int samples);

    /// Metres between A-scans, if the header tells more than 0.
    void TakeSpacing(const std::string& name);

    std::unique_ptr<RecordingSource> Source();

    TextHeader header;
    Recording recording;

private:
    std::unique_ptr<ByteReader> file;
    WordLayout layout;
};

} // namespace TZM
