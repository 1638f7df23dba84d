#pragma once

#include "Recording/Recording.h"

#include <json/value.h>

#include <string>

namespace tzmchain {

/// What a recording is, for people: a line each.
std::string InfoText(const TZM::Recording& recording);

/// The same for programs, without its samples; null where something isn't known.
Json::Value InfoJson(const TZM::Recording& recording);

} // namespace tzmchain
