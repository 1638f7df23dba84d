#include "Imaging/private/ErrorText.h"

#include <sstream>

#include <vtkCommand.h>

void ReportError(vtkObject* object, const char* place, int line, const std::string& message) {
    if (!vtkObject::GetGlobalWarningDisplay()) return;
    std::ostringstream text;
    text << "ERROR: In " << place << ", line " << line << "\n"
         << object->GetClassName() << " (" << object << "): " << message << "\n\n";
    std::string told = text.str();
    if (object->HasObserver("ErrorEvent"))
        object->InvokeEvent("ErrorEvent", told.data());
    else
        vtkOutputWindowDisplayErrorText(told.c_str());
    vtkObject::BreakOnError();
}
