#include "Text.h"

#include "Refusal.h"

#include <json/reader.h>
#include <json/writer.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

namespace tzmchain {

std::string OneLine(const std::string& text) {
    std::istringstream words(text);
    std::string line;
    for (std::string word; words >> word;) line += (line.empty() ? "" : " ") + word;
    return line;
}

std::string Number(double value, int digits) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    return text;
}

std::string Sizes(int samples, int ascans, int bscans) {
    return std::to_string(samples) + " x " + std::to_string(ascans) + " x " + std::to_string(bscans);
}

std::string ReadText(const std::filesystem::path& file) {
    std::error_code ignored;
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    if (!std::filesystem::is_regular_file(file, ignored) || !in || (in.peek() != EOF && !(text << in.rdbuf())))
        throw Refusal("can't read " + file.string());
    return text.str();
}

void WriteBytes(const std::filesystem::path& file, const void* bytes, std::size_t count) {
    std::ofstream out(file, std::ios::binary);
    out.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(count));
    if (!out.flush()) throw Refusal("can't write " + file.string());
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
    return Json::writeString(builder, value) + "\n";
}

double Shortest(float value) {
    char text[32] = {};
    std::to_chars(text, text + sizeof text - 1, value);
    return std::strtod(text, nullptr);
}

} // namespace tzmchain
