#pragma once

// JSON as the client reads and writes it: Json::Reader to parse, Json::FastWriter to write.
// Readers of page and host values check types first, since the library's conversions throw
// on values of another kind.

#include <json/value.h>

#include <string>

namespace tnwebui {

// Parses `text`; false (and a null value) when it isn't JSON.
bool ParseJson(const std::string& text, Json::Value& out);
// The compact form, with the closing line feed that the writer adds.
std::string WriteJson(const Json::Value& value);

// `value` by the library's conversion rules to a flag; false for values that have none
// (texts, arrays, objects).
bool JsonToBool(const Json::Value& value);
// `value` as text by the library's rules (numbers and flags written out, null empty); empty for
// arrays and objects, whose conversion throws.
std::string JsonToString(const Json::Value& value);
// The string under `key` of an object, or empty when there is none or it is no string.
std::string JsonString(const Json::Value& object, const char* key);
// True when `object` is an object whose `key` holds a string.
bool HasJsonString(const Json::Value& object, const char* key);

}  // namespace tnwebui
