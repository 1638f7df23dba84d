#pragma once

#include <exception>
#include <string>

#include "Array/Export.h"

namespace IPP {

/// A failure of the array layer: the status of a failed primitive, or -2 for what the arrays find themselves.
class TZM_EXPORT Exception : public std::exception {
public:
    /// \param message a string of static storage; the object keeps the pointer and doesn't own it.
    Exception(int status, const char* message);
    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;
    ~Exception() override;

    int GetStatus() const { return status; }
    std::string GetMessage() const { return message; }

private:
    int status;
    const char* message;
};

/// Status of the failures that the array layer finds itself.
constexpr int kArrayFailure = -2;

/// Throws Exception(-2, message) unless the condition holds.
inline void Require(bool condition, const char* message) {
    if (!condition) throw Exception(kArrayFailure, message);
}

} // namespace IPP
