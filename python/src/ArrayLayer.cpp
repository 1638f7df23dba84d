// What builds steps of one's own: envelopes, filters, windows.
#include "Block.h"
#include "Run.h"

namespace tzmpy {
void BindArrayLayer(pybind11::module_&) {}
} // namespace tzmpy
