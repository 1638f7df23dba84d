#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace tzmchain {

/// SHA-256 as 64 lower-case hexadecimal digits.
std::string ChecksumOf(const void* bytes, std::size_t count);
/// Refusal if the file can't be read.
std::string ChecksumOf(const std::filesystem::path& file);

} // namespace tzmchain
