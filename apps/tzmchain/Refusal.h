#pragma once

#include <stdexcept>
#include <string>

namespace tzmchain {

/// What the user gave can't be used. The text is one line for the terminal; the program ends with exit code 2.
class Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace tzmchain
