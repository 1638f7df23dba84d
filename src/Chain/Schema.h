#pragma once

#include <json/value.h>

#include "Array/Export.h"

namespace TZM {

/// JSON Schema (draft 2020-12) of a chain document: every algorithm with its parameters, their types, defaults and
/// sensible ranges. Numbers beyond a sensible range are valid, since the algorithms take them.
TZM_EXPORT Json::Value ChainSchema();

/// JSON Schema (draft 2020-12) of the configuration document: every section with its keys, their types, defaults and
/// limits. What the algorithms pass over in silence (unknown sections, unknown members of "Global") is valid; an
/// unknown key in the section of an algorithm, or one of a type that doesn't count, isn't.
TZM_EXPORT Json::Value ConfigurationSchema();

} // namespace TZM
