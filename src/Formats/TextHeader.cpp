#include "Formats/TextHeader.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <fstream>

#include "Formats/ByteReader.h"
#include "Recording/Refusal.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace fs = std::filesystem;

namespace {

std::string Upper(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

} // namespace

TextHeader::TextHeader(const fs::path& path, char separator) : file(path) {
    const ByteReader bytes(file);
    constexpr std::int64_t kMost = 1 << 20;
    if (bytes.Size() > kMost) throw FormatError(file.string() + " is too large for a header of text");
    std::string text(static_cast<std::size_t>(bytes.Size()), '\0');
    bytes.Read(0, bytes.Size(), text.data());
    text = Utf8(text);
    if (text.rfind("\xef\xbb\xbf", 0) == 0) text.erase(0, 3); // the mark that some editors put ahead of UTF-8
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find_first_of("\r\n", begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        begin = end + 1;
        if (const auto split = line.find(separator); split != std::string::npos)
            values.emplace(Upper(OneLine(line.substr(0, split))), OneLine(line.substr(split + 1)));
    }
}

std::optional<std::string> TextHeader::Text(const std::string& name) const {
    const auto found = values.find(name);
    return found == values.end() || found->second.empty() ? std::nullopt : std::optional(found->second);
}

std::optional<double> TextHeader::Number(const std::string& name) const {
    auto text = Text(name);
    if (!text) return std::nullopt;
    const auto comma = text->find(','), behind = text->find_first_of("0123456789", comma);
    if (comma != std::string::npos && behind == comma + 1) (*text)[comma] = '.';
    double value = 0;
    const char* begin = text->data() + (text->front() == '+');
    const auto [end, error] = std::from_chars(begin, text->data() + text->size(), value);
    if (error != std::errc() || !std::isfinite(value))
        throw FormatError(file.string() + ": " + name + " is \"" + *text + "\"; a number is expected");
    return value;
}

std::optional<double> TextHeader::Positive(const std::string& name) const {
    const auto value = Number(name);
    return value && *value > 0 ? value : std::nullopt;
}

int TextHeader::Count(const std::string& name, int low, int high) const {
    const auto value = Number(name);
    if (!value) throw FormatError(file.string() + " doesn't tell " + name);
    if (!(*value >= low && *value <= high && *value == std::floor(*value)))
        throw FormatError(file.string() + ": " + name + " is " + TZM::Number(*value, 12) + "; a whole number from " +
                          std::to_string(low) + " to " + std::to_string(high) + " is expected");
    return static_cast<int>(*value);
}

double TextHeader::RequiredPositive(const std::string& name) const {
    const auto value = Number(name);
    if (!value) throw FormatError(file.string() + " doesn't tell " + name);
    if (!(*value > 0))
        throw FormatError(file.string() + ": " + name + " is " + TZM::Number(*value, 12) +
                          "; a number above 0 is expected");
    return *value;
}

bool HasExtension(const fs::path& file, const std::string& extension) {
    return Upper(file.extension().string()) == Upper(extension);
}

fs::path Partner(const fs::path& file, const std::string& extension) {
    const std::string wanted = Upper(file.stem().string() + extension);
    std::error_code error;
    if (HasExtension(file, extension) && fs::is_regular_file(file, error)) return file;
    for (const std::string& same : {extension, Upper(extension)})
        if (const fs::path beside = fs::path(file).replace_extension(same); fs::is_regular_file(beside, error))
            return beside;
    const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
    for (const auto& entry : fs::directory_iterator(folder, error))
        if (Upper(entry.path().filename().string()) == wanted && entry.is_regular_file(error)) return entry.path();
    return {};
}

fs::path RequiredPartner(const fs::path& file, const std::string& extension) {
    const fs::path partner = Partner(file, extension);
    if (partner.empty())
        throw FormatError("can't read " + file.string() + ": there is no " +
                          fs::path(file).replace_extension(extension).string() + " beside it");
    return partner;
}

} // namespace TZM
