#include "Block.h"
#include "Files.h"
#include "Run.h"

PYBIND11_MODULE(_core, module) {
    using namespace tzmpy;
    module.attr("__version__") = TZM_VERSION;
    KeepLog();
    BindErrors(module);
    BindRecording(module);
    BindFiles(module);
    BindRun(module);
    BindFocus(module);
    BindParts(module);
    BindArrayLayer(module);
}
