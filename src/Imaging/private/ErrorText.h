#pragma once

#include <string>

#include <vtkObject.h>

/// Reports an error as vtkErrorMacro does: to the object's observers of "ErrorEvent", or to the output window, if
/// warnings are displayed at all. \param place the source that the text names, "..\..\src\Imaging\" and the class; line
/// within it.
void ReportError(vtkObject* object, const char* place, int line, const std::string& message);
