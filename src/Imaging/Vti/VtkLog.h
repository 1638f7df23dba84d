#pragma once

#include "Array/Export.h"

#include <functional>
#include <string>

#include <vtkLogger.h>
#include <vtkOutputWindow.h>
#include <vtkSmartPointer.h>

namespace TZM {

/// Takes what VTK has to say, the library's log with it, while it lives: `sink` gets each message on one line.
class TZM_EXPORT VtkLog {
public:
    explicit VtkLog(std::function<void(const std::string&)> sink);
    ~VtkLog();

    /// A message without the source position and the object that VTK puts in front.
    static std::string WithoutPlace(const std::string& message) {
        const auto colon = message.find("): ");
        return colon == std::string::npos ? message : message.substr(colon + 3);
    }

    VtkLog(const VtkLog&) = delete;
    VtkLog& operator=(const VtkLog&) = delete;

private:
    vtkSmartPointer<vtkOutputWindow> before;
    vtkLogger::Verbosity verbosity;
};

} // namespace TZM
