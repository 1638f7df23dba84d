#pragma once

#include <new>
#include <string>

#include "Framework/CalcError.h"
#include "support/Near.h"

/// Status and text of the IPP::Exception that the call throws, code/status and text of the CalcError, or "bad_alloc".
template <class Call>
std::string Failure(Call&& call) {
    try {
        call();
    } catch (const IPP::Exception& e) {
        return std::to_string(e.GetStatus()) + " " + e.GetMessage();
    } catch (const TZM::Exception::CalcError& e) {
        return std::to_string(e.GetCode()) + "/" + std::to_string(e.GetIppException().GetStatus()) + " " +
               e.GetMessage();
    } catch (const std::bad_alloc&) {
        return "bad_alloc";
    }
    return "none";
}
