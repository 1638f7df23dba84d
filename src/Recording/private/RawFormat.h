#pragma once

#include "Recording/Format.h"

namespace TZM {

/// NAME.f32, a block of 32-bit floats and nothing else, and NAME.json, its sidecar, which tells the rest.
Format RawFormat();

} // namespace TZM
