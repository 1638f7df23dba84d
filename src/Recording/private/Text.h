#pragma once

#include <json/value.h>

#include <filesystem>
#include <string>
#include <vector>

#include "Array/Export.h"
#include "Framework/private/Shortest.h"
#include "Recording/Refusal.h"

namespace TZM {

/// `text` on one line: line ends and the blanks around them become a single blank.
TZM_EXPORT std::string OneLine(const std::string& text);

/// `text` as UTF-8: bytes that aren't are taken as Latin-1.
TZM_EXPORT std::string Utf8(const std::string& text);

/// `value` with `digits` significant digits, without trailing zeros.
TZM_EXPORT std::string Number(double value, int digits = 4);

/// "a, b, c"
TZM_EXPORT std::string Joined(const std::vector<std::string>& words);

/// Whether two names are one for a human: alike but for case, blanks and underscores, one the beginning of the other,
/// or one or two letters apart.
TZM_EXPORT bool LooksLike(const std::string& name, const std::string& known);

/// The whole file. Refusal if it isn't a readable regular file.
TZM_EXPORT std::string ReadText(const std::filesystem::path& file);

/// The Refusal of a file that can't be written, with the reason that errno tells.
TZM_EXPORT Refusal CantWrite(const std::filesystem::path& file);

/// What an error number of the system means: "no space left on device".
TZM_EXPORT std::string Reason(int number);

/// Writes the whole file. Refusal, with the system's reason, if that fails: on a full disk, for one.
TZM_EXPORT void WriteBytes(const std::filesystem::path& file, const void* bytes, std::size_t count);

/// `text` as JSON, with comments allowed. Refusal, beginning with `name`, if it doesn't parse, has a key twice or has
/// something behind the value.
TZM_EXPORT Json::Value ParseJson(const std::string& text, const std::string& name);

/// Indented JSON text in UTF-8 with 15 significant digits, which keep every 32-bit float.
TZM_EXPORT std::string JsonText(const Json::Value& value);

} // namespace TZM
