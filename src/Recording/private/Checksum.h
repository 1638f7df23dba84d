#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

#include "Array/Export.h"

namespace TZM {

/// SHA-256 as 64 lower-case hexadecimal digits.
TZM_EXPORT std::string ChecksumOf(const void* bytes, std::size_t count);
/// Refusal if the file can't be read.
TZM_EXPORT std::string ChecksumOf(const std::filesystem::path& file);

} // namespace TZM
