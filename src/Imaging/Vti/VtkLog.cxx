#include "Imaging/Vti/VtkLog.h"

#include "Recording/private/Text.h"

#include <vtkLogger.h>
#include <vtkObjectFactory.h>

#include <utility>

namespace TZM {

namespace {

class Window : public vtkOutputWindow {
public:
    static Window* New();
    void DisplayText(const char* text) override {
        const std::string line = text ? OneLine(text) : "";
        if (!line.empty() && sink) sink(line);
    }
    std::function<void(const std::string&)> sink;
};

vtkStandardNewMacro(Window)

} // namespace

VtkLog::VtkLog(std::function<void(const std::string&)> sink)
    : before(vtkOutputWindow::GetInstance()), verbosity(vtkLogger::GetCurrentVerbosityCutoff()) {
    const auto window = vtkSmartPointer<Window>::New();
    window->sink = std::move(sink);
    vtkOutputWindow::SetInstance(window);
    vtkLogger::SetStderrVerbosity(vtkLogger::VERBOSITY_OFF); // it would print every message once more
}

VtkLog::~VtkLog() {
    vtkOutputWindow::SetInstance(before);
    vtkLogger::SetStderrVerbosity(verbosity);
}

} // namespace TZM
