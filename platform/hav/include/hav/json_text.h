#pragma once

// JSON text both ways, compact, for the protocol and the pages.

#include <json/reader.h>
#include <json/writer.h>

#include <exception>
#include <memory>
#include <string>

namespace xhav {

inline std::string WriteJson(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

// Parses with `builder`'s settings; false for text that isn't one JSON value, or is nested
// deeper than the reader goes (jsoncpp throws then).
inline bool ParseWith(const Json::CharReaderBuilder& builder, const std::string& text,
                      Json::Value* value) {
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  std::string errors;
  try {
    return reader->parse(text.data(), text.data() + text.size(), value, &errors);
  } catch (const std::exception&) {
    return false;
  }
}

// False for text that isn't one JSON value. A reader is made once per thread: making one reads
// its settings anew, which costs more than parsing a short message.
inline bool ParseJson(const std::string& text, Json::Value* value) {
  thread_local const std::unique_ptr<Json::CharReader> reader = [] {
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    return std::unique_ptr<Json::CharReader>(builder.newCharReader());
  }();
  std::string errors;
  try {
    return reader->parse(text.data(), text.data() + text.size(), value, &errors);
  } catch (const std::exception&) {
    return false;  // nested deeper than the reader goes: the library throws
  }
}

// A page's text, read strictly: one JSON value and nothing after it, no member named twice. A
// body that names its document twice ({"ctx":1,...,"ctx":2}) could be read as one document by
// one reader and as another by the next.
inline bool ParsePageJson(const std::string& text, Json::Value* value) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["allowSpecialFloats"] = false;
  return ParseWith(builder, text, value);
}

}  // namespace xhav
