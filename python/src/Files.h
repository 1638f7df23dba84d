#pragma once

#include <pybind11/pybind11.h>

namespace tzmpy {

/// Adds reading and writing of recordings, and the scene of the demo.
void BindFiles(pybind11::module_& module);

} // namespace tzmpy
