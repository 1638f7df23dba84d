#pragma once

#include <pybind11/pybind11.h>

#include <json/value.h>

namespace tzmpy {

/// A Python value as JSON: None, booleans, numbers (NumPy's, too), text, paths, lists, tuples, arrays, dictionaries.
/// ValueError, that tells `what`, for anything else, for what is nested too deep and for numbers that aren't finite.
Json::Value ToJson(const pybind11::handle& value, const char* what, int depth = 0);

/// JSON as Python values.
pybind11::object FromJson(const Json::Value& value);

} // namespace tzmpy
