#pragma once

#include <exception>
#include <string>

#include "Array/Export.h"
#include "Array/IppException.h"

namespace TZM::Exception {

/// What a failed Execute throws. Its code and its message tell the failure, what() doesn't.
class TZM_EXPORT CalcError : public std::exception {
public:
    /// A wrong value that the algorithm itself found; code is negative.
    CalcError(int errorCode, const std::string& text) : code(errorCode), message(text), ippException(0, "") {}

    /// A failure of the array layer: code 99 and its message.
    explicit CalcError(const IPP::Exception& cause) : code(99), message(cause.GetMessage()), ippException(cause) {}

    int GetCode() const { return code; }
    const std::string& GetMessage() const { return message; }
    /// The failure of the array layer behind code 99; otherwise one of status 0 with an empty message.
    const IPP::Exception& GetIppException() const { return ippException; }

private:
    int code;
    std::string message;
    IPP::Exception ippException;
};

} // namespace TZM::Exception
