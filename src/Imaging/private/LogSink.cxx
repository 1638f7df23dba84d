#include <vtkOutputWindow.h>

#include "Framework/Logger.h"

namespace TZM {

namespace {

/// As long as the library is loaded, log lines go to VTK's output window.
struct LogSink {
    LogSink() {
        Logger::SetSink([](const std::string& line) { vtkOutputWindowDisplayText(line.c_str()); });
    }
    ~LogSink() { Logger::SetSink({}); } // the function above goes with the library
};

const LogSink sink;

} // namespace

} // namespace TZM
