#pragma once

#include <string>

#include "Array/IppException.h"
#include "support/Near.h"

/// Status and text of the IPP::Exception that the call throws.
template <class Call>
std::string Failure(Call&& call) {
    return Caught<IPP::Exception>(
        call, [](const IPP::Exception& e) { return std::to_string(e.GetStatus()) + " " + e.GetMessage(); });
}
