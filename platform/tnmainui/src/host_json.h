#pragma once

// What the host's stand-ins share for the business channel's texts: the channel carries UTF-16,
// its JSON is read and written here.

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <QString>
#include <memory>
#include <string>

namespace tnmainui {

inline std::string Narrow(const std::u16string& text) {
  return QString::fromUtf16(text.data(), static_cast<int>(text.size())).toStdString();
}

inline std::u16string Widen(const std::string& text) {
  const QString wide = QString::fromStdString(text);
  return std::u16string(reinterpret_cast<const char16_t*>(wide.utf16()),
                        static_cast<std::size_t>(wide.size()));
}

// An object or an array of JSON; false for anything else.
inline bool Parse(const std::string& text, Json::Value& out) {
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  try {
    return reader->parse(text.data(), text.data() + text.size(), &out, nullptr) &&
           (out.isObject() || out.isArray());
  } catch (const std::exception&) {
    return false;  // nested deeper than the reader goes: the library throws
  }
}

inline std::string Text(const Json::Value& object, const char* key) {
  if (!object.isObject()) return std::string();
  const Json::Value& value = object[key];
  return value.isString() ? value.asString() : std::string();
}

inline std::string Write(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

// The JSON text of a call (its fourth parameter).
template <typename Call>
std::string CallJson(const Call& call) {
  return call.params.size() > 3 ? Narrow(call.params[3]) : std::string();
}

}  // namespace tnmainui
