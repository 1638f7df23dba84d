#pragma once

#include <json/value.h>

#include <filesystem>
#include <string>

namespace tzmchain {

/// `text` on one line: line ends and the blanks around them become a single blank.
std::string OneLine(const std::string& text);

/// `value` with `digits` significant digits, without trailing zeros.
std::string Number(double value, int digits = 4);

/// "512 x 300 x 35"
std::string Sizes(int samples, int ascans, int bscans);

/// The whole file. Refusal if it isn't a readable regular file.
std::string ReadText(const std::filesystem::path& file);

/// Writes the whole file. Refusal if that fails, on a full disk for one.
void WriteBytes(const std::filesystem::path& file, const void* bytes, std::size_t count);

/// `text` as JSON, with comments allowed. Refusal, beginning with `name`, if it doesn't parse, has a key twice or has
/// something behind the value.
Json::Value ParseJson(const std::string& text, const std::string& name);

/// Indented JSON text with 15 significant digits, which keep every 32-bit float.
std::string JsonText(const Json::Value& value);

/// The shortest decimal number that reads back as `value`: 0.1 for 0.1f, not 0.100000001.
double Shortest(float value);

} // namespace tzmchain
