#include <gtest/gtest.h>
#include <vtkNew.h>
#include <vtkSmartPointer.h>
#include <vtkStringOutputWindow.h>

#include "Framework/Logger.h"

TEST(LogSink, LinesOfTheLibraryReachVtksOutputWindow) {
    const vtkSmartPointer<vtkOutputWindow> before = vtkOutputWindow::GetInstance();
    const vtkNew<vtkStringOutputWindow> window;
    vtkOutputWindow::SetInstance(window);
    TZM::Logger::GetInstance()->LogText("any text");
    vtkOutputWindow::SetInstance(before);
    EXPECT_NE(window->GetOutput().find("): any text"), std::string::npos) << window->GetOutput();
}
