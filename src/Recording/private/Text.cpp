#include "Recording/private/Text.h"

#include "Recording/Refusal.h"

#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <numeric>
#include <sstream>
#include <system_error>

namespace TZM {

std::string OneLine(const std::string& text) {
    std::istringstream words(text);
    std::string line;
    for (std::string word; words >> word;) line += (line.empty() ? "" : " ") + word;
    return line;
}

namespace {

/// Bytes of the UTF-8 sequence that begins at `at`: 1 to 4, or 0 if none does.
std::size_t SequenceAt(const std::string& text, std::size_t at) {
    const auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
    const unsigned lead = byte(at);
    if (lead < 0x80) return 1;
    const std::size_t length = lead >= 0xc2 && lead < 0xe0   ? 2
                               : (lead & 0xf0) == 0xe0       ? 3
                               : lead >= 0xf0 && lead < 0xf5 ? 4
                                                             : 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byte(at + i) & 0xc0) != 0x80) return 0;
    const unsigned second = byte(at + 1); // neither longer than needed, nor a surrogate, nor beyond the last character
    if ((lead == 0xe0 && second < 0xa0) || (lead == 0xed && second >= 0xa0) || (lead == 0xf0 && second < 0x90) ||
        (lead == 0xf4 && second >= 0x90))
        return 0;
    return length;
}

} // namespace

std::string Utf8(const std::string& text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = SequenceAt(text, at);
        if (length > 0) {
            result.append(text, at, length);
        } else {
            const auto byte = static_cast<unsigned char>(text[at]);
            result += static_cast<char>(0xc0 | byte >> 6);
            result += static_cast<char>(0x80 | (byte & 0x3f));
        }
        at += std::max<std::size_t>(length, 1);
    }
    return result;
}

std::string Number(double value, int digits) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    return text;
}

std::string Joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
    return text;
}

namespace {

/// Letters and digits alone, in lower case.
std::string Skeleton(const std::string& name) {
    std::string bare;
    for (const unsigned char c : name)
        if (std::isalnum(c)) bare += static_cast<char>(std::tolower(c));
    return bare;
}

/// Letters to insert, remove or replace (Levenshtein), by rows of the table.
std::size_t EditDistance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i] != b[j]);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row[b.size()];
}

} // namespace

bool LooksLike(const std::string& name, const std::string& known) {
    constexpr std::size_t kLongest = 64; // a longer name is no slip of the pen
    const std::string a = Skeleton(name.substr(0, kLongest + 1)), b = Skeleton(known);
    const std::size_t shorter = std::min(a.size(), b.size());
    if (shorter < 3 || a.size() > kLongest) return a == b;
    return b.compare(0, a.size(), a) == 0 || EditDistance(a, b) <= (shorter < 6 ? 1 : 2);
}

std::string ReadText(const std::filesystem::path& file) {
    std::error_code error;
    if (!std::filesystem::exists(file, error)) throw Refusal("can't read " + file.string() + ": there is no such file");
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    if (!std::filesystem::is_regular_file(file, error) || !in || (in.peek() != EOF && !(text << in.rdbuf())))
        throw Refusal("can't read " + file.string());
    return text.str();
}

void WriteBytes(const std::filesystem::path& file, const void* bytes, std::size_t count) {
    errno = 0;
    std::ofstream out(file, std::ios::binary);
    out.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(count));
    if (!out.flush()) throw CantWrite(file);
}

Refusal CantWrite(const std::filesystem::path& file) {
    const int reason = errno;
    return Refusal("can't write " + file.string() + (reason ? ": " + Reason(reason) : ""));
}

std::string Reason(int number) {
    std::string text = std::generic_category().message(number);
    if (!text.empty()) text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    return text;
}

Json::Value ParseJson(const std::string& text, const std::string& name) {
    Json::CharReaderBuilder builder;
    builder["rejectDupKeys"] = true;
    builder["failIfExtra"] = true;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &root, &errors)) return root;
    } catch (const std::exception& e) { // nested too deeply, or a key twice
        errors = e.what();
    }
    throw Refusal(name + " doesn't parse as JSON: " + OneLine(errors));
}

std::string JsonText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["precision"] = 15;
    builder["emitUTF8"] = true;
    return Utf8(Json::writeString(builder, value)) + "\n"; // names of files may be of any bytes
}

} // namespace TZM
