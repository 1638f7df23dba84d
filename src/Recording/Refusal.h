#pragma once

#include <stdexcept>
#include <string>

#include "Array/Export.h"

namespace TZM {

/// What a user gave can't be used: a file, a document, a number. The text is one line that tells what and why.
class TZM_EXPORT Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A file isn't a recording, or not one of the form that it claims to have.
class TZM_EXPORT FormatError : public Refusal {
public:
    using Refusal::Refusal;
};

} // namespace TZM
