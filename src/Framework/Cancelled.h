#pragma once

#include <exception>

#include "Array/Export.h"

namespace TZM::Exception {

/// Somebody who watched a run ended it. What the run would have given doesn't exist; its input is as it was.
class TZM_EXPORT Cancelled : public std::exception {
public:
    const char* what() const noexcept override { return "cancelled"; }
};

} // namespace TZM::Exception
