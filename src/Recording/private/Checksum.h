#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>

#include "Array/Export.h"

namespace TZM {

/// SHA-256 of bytes that come piece by piece.
class TZM_EXPORT ChecksumSum {
public:
    ChecksumSum();
    ~ChecksumSum();
    ChecksumSum(const ChecksumSum&) = delete;
    ChecksumSum& operator=(const ChecksumSum&) = delete;

    void Update(const void* bytes, std::size_t count);
    std::string Hex(); ///< to be called once, behind the last piece

private:
    struct Context;
    std::unique_ptr<Context> context;
};

/// SHA-256 as 64 lower-case hexadecimal digits.
TZM_EXPORT std::string ChecksumOf(const void* bytes, std::size_t count);
/// Refusal if the file can't be read.
TZM_EXPORT std::string ChecksumOf(const std::filesystem::path& file);

} // namespace TZM
