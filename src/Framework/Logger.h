#pragma once

#include <deque>
#include <functional>
#include <string>

#include "Array/Export.h"

namespace TZM {

/// The log and the error list of the process. It takes no lock: the library calls it from the thread that called
/// Execute, or within a critical section. Nothing in the library reads or clears the list. No operation throws.
class TZM_EXPORT Logger {
public:
    /// The one instance that the library uses, made by the first call, which may come from any thread.
    static Logger* GetInstance();

    /// Writes "Log (", the local time in the form of the user's locale, "): " and text, without a line end, to where the
    /// lines go: to VTK's output window if the library of the VTK classes is loaded, else to standard error.
    void LogText(const char* text);

    /// Appends text to the error list, then writes it like LogText.
    void LogError(const char* text);

    bool HasErrors() const { return !errorList.empty(); }
    const std::deque<std::string>& GetErrorList() const { return errorList; } ///< oldest first
    void ClearErrorList();                                                    ///< gives the memory back, too

    /// Takes the finished lines, one at a time; what it throws is lost.
    using Sink = std::function<void(const std::string& line)>;
    /// Sends the lines of the process elsewhere, an empty sink to standard error; gives the sink of before. Not while
    /// an Execute runs.
    static Sink SetSink(Sink sink);

private:
    std::deque<std::string> errorList;
};

} // namespace TZM
