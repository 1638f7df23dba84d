#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace tzmchain {

/// SHA-256 of bytes given piece by piece (FIPS 180-4).
class Sha256 {
public:
    void Update(const void* bytes, std::size_t count);
    /// 64 lower-case hexadecimal digits. Ends the sum: nothing may be added after it.
    std::string Hex();

private:
    void Block(const unsigned char* block);

    std::array<std::uint32_t, 8> state = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                          0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    std::array<unsigned char, 64> pending = {};
    std::uint64_t length = 0; // bytes
};

std::string ChecksumOf(const void* bytes, std::size_t count);
/// Refusal if the file can't be read.
std::string ChecksumOf(const std::filesystem::path& file);

} // namespace tzmchain
