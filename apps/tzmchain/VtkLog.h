#pragma once

#include <functional>
#include <string>

#include <vtkLogger.h>
#include <vtkOutputWindow.h>
#include <vtkSmartPointer.h>

namespace tzmchain {

/// Takes what VTK has to say, the library's log with it, while it lives: `sink` gets each message on one line.
class VtkLog {
public:
    explicit VtkLog(std::function<void(const std::string&)> sink);
    ~VtkLog();
    VtkLog(const VtkLog&) = delete;
    VtkLog& operator=(const VtkLog&) = delete;

private:
    vtkSmartPointer<vtkOutputWindow> before;
    vtkLogger::Verbosity verbosity;
};

} // namespace tzmchain
