#include "Formats/ByteReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>

#include "Recording/private/Text.h"

namespace TZM {

namespace {

int Open(const std::filesystem::path& file) {
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) throw FormatError("can't read " + file.string() + ": " + Reason(errno));
    return descriptor;
}

} // namespace

ByteReader::ByteReader(const std::filesystem::path& path) : file(path), descriptor(Open(path)) {
    struct stat about {};
    if (fstat(descriptor, &about) != 0 || !S_ISREG(about.st_mode)) {
        close(descriptor);
        throw FormatError("can't read " + file.string() + ": it isn't a file");
    }
    size = about.st_size;
}

ByteReader::~ByteReader() { Close(); }

void ByteReader::Close() {
    if (descriptor >= 0) close(descriptor);
    descriptor = -1;
}

std::string ByteReader::Text(std::int64_t offset, std::int64_t length) const {
    std::string text(static_cast<std::size_t>(length), '\0');
    Read(offset, length, text.data());
    text.erase(std::min(text.find('\0'), text.size()));
    for (char& c : text)
        if (!std::isprint(static_cast<unsigned char>(c))) c = ' ';
    return OneLine(text);
}

void ByteReader::Read(std::int64_t offset, std::int64_t bytes, void* to) const {
    if (offset < 0 || bytes < 0 || offset > size || bytes > size - offset)
        throw FormatError(file.string() + " ends at byte " + std::to_string(size) + ", and bytes " +
                          std::to_string(offset) + " to " + std::to_string(offset + bytes - 1) + " are needed");
    if (descriptor < 0) descriptor = Open(file);
    for (auto* target = static_cast<char*>(to); bytes > 0;) {
        const ssize_t got = pread(descriptor, target, static_cast<std::size_t>(bytes), offset);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0)
            throw FormatError("can't read " + file.string() + ": " + (got < 0 ? Reason(errno) : "it has shrunk"));
        target += got, offset += got, bytes -= got;
    }
}

} // namespace TZM
