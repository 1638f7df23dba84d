#pragma once

#include <exception>
#include <new>
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

/// Memory, or the state of a transform, that can't be had, with the text "bad allocation".
class TZM_EXPORT BadAllocation : public std::bad_alloc {
public:
    BadAllocation() = default;
    BadAllocation(const BadAllocation&) = default;
    BadAllocation& operator=(const BadAllocation&) = default;
    ~BadAllocation() override;
    const char* what() const noexcept override;
};

/// Status of the failures that the array layer finds itself.
constexpr int kArrayFailure = -2;

/// Throws Exception(-2, message) unless the condition holds.
inline void Require(bool condition, const char* message) {
    if (!condition) throw Exception(kArrayFailure, message);
}

} // namespace IPP
