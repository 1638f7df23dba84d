#pragma once

#include <string>

#include <vtkNew.h>
#include <vtkOutputWindow.h>
#include <vtkSmartPointer.h>

#include "Framework/AlgoBase.h"
#include "Framework/Logger.h"

namespace TZM {

/// Takes the lines that would go to VTK's output window.
class CapturedWindow : public vtkOutputWindow {
public:
    static CapturedWindow* New() {
        auto* window = new CapturedWindow;
        window->InitializeObjectBase();
        return window;
    }
    void DisplayText(const char* text) override { lines += text; }
    std::string lines;
};

/// Empty documents, default settings, an empty error list and a captured log as long as it lives; then what was before.
class FreshStatics : AlgoBase {
public:
    FreshStatics() : config(jsonConfig), calibration(jsonCalibration), settings(globalSettings) {
        jsonConfig.clear();
        jsonCalibration.clear();
        globalSettings = {};
        Logger::GetInstance()->ClearErrorList();
        vtkOutputWindow::SetInstance(window);
    }
    ~FreshStatics() override {
        jsonConfig = config;
        jsonCalibration = calibration;
        globalSettings = settings;
        Logger::GetInstance()->ClearErrorList();
        vtkOutputWindow::SetInstance(before);
    }

    /// What has been written to the log.
    const std::string& Log() const { return window->lines; }

private:
    std::string config, calibration;
    AlgoGlobalSettings settings;
    vtkSmartPointer<vtkOutputWindow> before = vtkOutputWindow::GetInstance();
    vtkNew<CapturedWindow> window;
};

} // namespace TZM
