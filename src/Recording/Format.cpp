#include "Recording/Format.h"

#include <omp.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <future>
#include <limits>

#include "Recording/Refusal.h"
#include "Recording/private/Checksum.h"
#include "Recording/private/RawFormat.h"

namespace TZM {

namespace fs = std::filesystem;

namespace {

std::vector<Format>& Registered() {
    static std::vector<Format> formats = {RawFormat()};
    return formats;
}

std::string ExtensionOf(const fs::path& file) {
    std::string extension = file.extension().string();
    for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return extension;
}

bool Has(const Format& format, const std::string& extension) {
    return std::find(format.extensions.begin(), format.extensions.end(), extension) != format.extensions.end();
}

std::string HeadOf(const fs::path& file) {
    std::string head(4096, '\0');
    std::ifstream in(file, std::ios::binary);
    in.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<std::size_t>(in.gcount()));
    return head;
}

std::string FilesOf(const std::vector<const Format*>& formats) {
    std::string text;
    for (const Format* format : formats) text += (text.empty() ? "" : ", ") + format->files;
    return text;
}

} // namespace

RecordingSource::~RecordingSource() = default;
RecordingSink::~RecordingSink() = default;

std::string RecordingSource::Checksum() const { return ChecksumOf(about.file); }

void RecordingSource::RequireChecksum(const std::string&) const {}

void RegisterFormat(const Format& format) {
    std::vector<Format>& formats = Registered();
    const auto same =
        std::find_if(formats.begin(), formats.end(), [&](const Format& f) { return f.name == format.name; });
    if (same == formats.end())
        formats.push_back(format);
    else
        *same = format;
}

const std::vector<Format>& Formats() { return Registered(); }

int CheckedCount(const fs::path& file, std::int64_t count, const std::string& what) {
    if (count >= 1 && count <= std::numeric_limits<int>::max()) return static_cast<int>(count);
    throw FormatError(file.string() + " has " + std::to_string(count) + " " + what + "; 1 to 2147483647 can be taken");
}

std::unique_ptr<RecordingSource> OpenRecording(const fs::path& input, const ReadOptions& options) {
    std::error_code error;
    if (!fs::exists(input, error)) throw FormatError("can't read " + input.string() + ": there is no such file");
    if (!fs::is_regular_file(input, error)) throw FormatError("can't read " + input.string() + ": it isn't a file");
    const std::string extension = ExtensionOf(input), head = HeadOf(input);
    const Format *named = nullptr, *found = nullptr;
    for (const Format& format : Formats()) {
        const bool fits = format.recognises && format.recognises(head);
        if (Has(format, extension) && (!named || fits)) named = &format;
        if (fits && (!found || Has(format, extension))) found = &format;
    }
    const bool contradicted = named && named->recognises && !named->recognises(head) && found;
    const Format* format = named && !contradicted ? named : found;
    if (!format) {
        std::vector<const Format*> all;
        for (const Format& known : Formats()) all.push_back(&known);
        throw FormatError(input.string() + " is of no known form: " + FilesOf(all));
    }
    std::unique_ptr<RecordingSource> source;
    try {
        source = format->open(input, options);
    } catch (const FormatError&) {
        throw;
    } catch (const Refusal& refusal) { // of a file beside it, of its JSON
        throw FormatError(refusal.what());
    }
    if (format != named)
        source->Note(input.string() + " isn't " + (named ? named->files + " by its content" : "of a known extension") +
                     "; it is read as " + format->files);
    return source;
}

Recording ReadRecording(RecordingSource& source) {
    Recording recording = source.About();
    recording.data = AllocateSamples(recording.size.Count());
    // The sum takes longer than the samples.
    std::future<std::string> checksum = std::async(
        omp_get_max_threads() > 1 ? std::launch::async : std::launch::deferred, [&] { return source.Checksum(); });
    source.Read(0, recording.size.bscans, recording.data.get());
    recording.checksum = checksum.get();
    source.RequireChecksum(recording.checksum);
    return recording;
}

Recording ReadRecording(const fs::path& input, const ReadOptions& options) {
    return ReadRecording(*OpenRecording(input, options));
}

namespace {

/// The form of a file that can be written in a certain way.
template <class Way>
const Format& Writable(const fs::path& file, Way Format::*way) {
    std::vector<const Format*> writable;
    for (const Format& format : Formats()) {
        if (!(format.*way)) continue;
        writable.push_back(&format);
        if (Has(format, ExtensionOf(file))) return format;
    }
    throw Refusal("can't write " + file.string() + ": recordings are written as " + FilesOf(writable));
}

} // namespace

void WriteRecording(Recording& recording, const fs::path& file) {
    Writable(file, &Format::write).write(recording, file);
}

std::unique_ptr<RecordingSink> OpenSink(const fs::path& file) { return Writable(file, &Format::sink).sink(file); }

} // namespace TZM
