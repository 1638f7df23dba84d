#pragma once

#include <algorithm>
#include <deque>
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

/// As long as it lives, a captured log; at its begin and end, no documents, default settings and no errors.
class FreshStatics : AlgoBase {
public:
    explicit FreshStatics(const std::string& document = "") {
        Reset(window);
        Configure(document);
    }
    ~FreshStatics() override { Reset(before); }

    /// Makes the text, with ' for ", the configuration document, whether it parses or not.
    static void Configure(const std::string& document) {
        jsonConfig = document;
        std::replace(jsonConfig.begin(), jsonConfig.end(), '\'', '"');
    }
    /// The parameters of an algorithm that has read such a document.
    template <class Algorithm>
    static const auto& Parsed(Algorithm& algorithm, const std::string& document) {
        Configure(document);
        algorithm.ParseParamsFromJsonConfig();
        return algorithm.GetParams();
    }
    static const std::deque<std::string>& Errors() { return Logger::GetInstance()->GetErrorList(); }
    /// What has been written to the log.
    const std::string& Log() const { return window->lines; }

private:
    static void Reset(vtkOutputWindow* log) {
        jsonConfig.clear();
        jsonCalibration.clear();
        globalSettings = {};
        Logger::GetInstance()->ClearErrorList();
        vtkOutputWindow::SetInstance(log);
    }
    vtkSmartPointer<vtkOutputWindow> before = vtkOutputWindow::GetInstance();
    vtkNew<CapturedWindow> window;
};

} // namespace TZM
