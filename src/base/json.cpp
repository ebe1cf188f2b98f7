#include "base/json.h"

// The reader and writer the client uses are the library's older classes.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <json/reader.h>
#include <json/writer.h>

#include <exception>

namespace tnwebui {

bool ParseJson(const std::string& text, Json::Value& out) {
  out = Json::Value();
  // A reader starts every parse afresh; one per thread saves making its stacks each time.
  thread_local Json::Reader reader;
  try {
    if (reader.parse(text.data(), text.data() + text.size(), out, true)) return true;
  } catch (const std::exception&) {
    // Nested deeper than the reader goes: the library throws rather than failing.
  }
  out = Json::Value();
  return false;
}

std::string WriteJson(const Json::Value& value) {
  Json::FastWriter writer;
  return writer.write(value);
}

#pragma GCC diagnostic pop

bool JsonToBool(const Json::Value& value) {
  return value.isConvertibleTo(Json::booleanValue) && !value.isArray() && !value.isObject() &&
         value.asBool();
}

std::string JsonToString(const Json::Value& value) {
  if (value.isArray() || value.isObject()) return std::string();
  return value.asString();
}

bool HasJsonString(const Json::Value& object, const char* key) {
  return object.isObject() && object.isMember(key) && object[key].isString();
}

std::string JsonString(const Json::Value& object, const char* key) {
  return HasJsonString(object, key) ? object[key].asString() : std::string();
}

}  // namespace tnwebui
