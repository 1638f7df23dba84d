#pragma once

#include <deque>
#include <string>

#include "Array/Export.h"

namespace TZM {

/// The log and the error list of the process. It takes no lock: the library calls it from the thread that called
/// Execute, or within a critical section. Nothing in the library reads or clears the list. No operation throws.
class TZM_EXPORT Logger {
public:
    /// The one instance that the library uses, made by the first call, which may come from any thread.
    static Logger* GetInstance();

    /// Writes "Log (", the local time in the form of the user's locale, "): " and text to VTK's output window, without
    /// a line end.
    void LogText(const char* text);

    /// Appends text to the error list, then writes it like LogText.
    void LogError(const char* text);

    bool HasErrors() const { return !errorList.empty(); }
    const std::deque<std::string>& GetErrorList() const { return errorList; } ///< oldest first
    void ClearErrorList();                                                    ///< gives the memory back, too

private:
    std::deque<std::string> errorList;
};

} // namespace TZM
