#pragma once

#include <functional>
#include <string>

#include <json/value.h>

namespace TZM {

/// Parses text with the reader's default features, comments allowed and the root any value. Every reader of a
/// document goes through here: numbers are read with a decimal point whatever the locales of the process are. Calls
/// from several threads wait for each other, since they change those locales for a moment.
/// On failure the reader's messages stand in *errors. Throws std::runtime_error for a document nested too deep.
bool ReadJson(const std::string& text, Json::Value& root, std::string* errors = nullptr);

/// ReadJson without messages and exceptions: false for whatever doesn't parse.
bool ParseJsonDocument(const std::string& text, Json::Value& root);

/// One line of JSON text with a line end, its numbers with a decimal point whatever the locales are.
std::string WriteJson(const Json::Value& value);

/// Hands the configuration document to read. Silent if the document doesn't parse; a std::runtime_error of a value that
/// can't be converted ends the reading and goes to the error list behind the name of the operation.
void ReadDocument(const char* operation, const std::function<void(const Json::Value& root)>& read);

/// The object of that name; an empty one if there is none, or if it, or parent, isn't an object.
const Json::Value& Member(const Json::Value& parent, const std::string& name);

/// The value of that name, of any type; null if there is none or if parent isn't an object.
const Json::Value* FindValue(const Json::Value& parent, const std::string& name);

// Conversions. A missing value (null pointer) and null give 0 or an empty string, a boolean 0 or 1, or "true" and
// "false". What can't be converted is a std::runtime_error that tells why.
std::string AsString(const Json::Value* value);
int AsInt(const Json::Value* value);
unsigned AsUInt(const Json::Value* value);
double AsDouble(const Json::Value* value);

} // namespace TZM
