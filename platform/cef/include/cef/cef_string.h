#pragma once

#include <cstddef>
#include <string>

#include "cef/cef_export.h"

// UTF-8 <-> UTF-16 conversions of the engine. Invalid input is replaced, never rejected.
CEF_API bool cef_string_utf8_to_utf16(const char* src, std::size_t src_len, std::u16string* out);
CEF_API bool cef_string_utf16_to_utf8(const char16_t* src, std::size_t src_len, std::string* out);

// The engine's string: UTF-16 text, built from UTF-8 or UTF-16.
class CefString {
 public:
  CefString() = default;
  CefString(const char* utf8) { FromString(utf8 ? std::string(utf8) : std::string()); }
  CefString(const std::string& utf8) { FromString(utf8); }
  CefString(const char16_t* utf16) : text_(utf16 ? utf16 : u"") {}
  CefString(std::u16string utf16) : text_(std::move(utf16)) {}

  void FromString(const std::string& utf8) {
    text_.clear();
    cef_string_utf8_to_utf16(utf8.data(), utf8.size(), &text_);
  }
  std::string ToString() const {
    std::string out;
    cef_string_utf16_to_utf8(text_.data(), text_.size(), &out);
    return out;
  }
  const std::u16string& ToString16() const { return text_; }
  const char16_t* c_str() const { return text_.c_str(); }
  std::size_t length() const { return text_.size(); }
  bool empty() const { return text_.empty(); }
  void clear() { text_.clear(); }

  bool operator==(const CefString& o) const { return text_ == o.text_; }
  bool operator!=(const CefString& o) const { return text_ != o.text_; }
  bool operator<(const CefString& o) const { return text_ < o.text_; }

 private:
  std::u16string text_;
};
