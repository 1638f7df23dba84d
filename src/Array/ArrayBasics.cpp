#include "Array/IppException.h"

namespace IPP {

Exception::Exception(int failedStatus, const char* text) : status(failedStatus), message(text) {}

Exception::~Exception() = default;

} // namespace IPP
