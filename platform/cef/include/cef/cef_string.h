#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "cef/cef_export.h"
#include "tnbase/shared_text.h"

// UTF-8 <-> UTF-16 conversions of the engine. Invalid input is replaced, never rejected.
CEF_API bool cef_string_utf8_to_utf16(const char* src, std::size_t src_len, std::u16string* out);
CEF_API bool cef_string_utf16_to_utf8(const char16_t* src, std::size_t src_len, std::string* out);

// The engine's string: UTF-16 text, built from UTF-8 or UTF-16. Its text is immutable and shared
// between copies, so a string passed through lists, messages and script values is converted and
// allocated once, where it is made.
class CefString {
 public:
  CefString() = default;
  CefString(const char* utf8)
      : text_(tnbase::SharedText::FromUtf8(utf8, utf8 ? std::strlen(utf8) : 0)) {}
  CefString(const std::string& utf8)
      : text_(tnbase::SharedText::FromUtf8(utf8.data(), utf8.size())) {}
  CefString(const char16_t* utf16)
      : text_(utf16, utf16 ? std::char_traits<char16_t>::length(utf16) : 0) {}
  CefString(std::u16string_view utf16) : text_(utf16) {}
  CefString(const std::u16string& utf16) : text_(std::u16string_view(utf16)) {}
  CefString(tnbase::SharedText text) : text_(std::move(text)) {}

  void FromString(const std::string& utf8) {
    text_ = tnbase::SharedText::FromUtf8(utf8.data(), utf8.size());
  }
  std::string ToString() const { return text_.ToUtf8(); }
  std::u16string ToString16() const { return text_.str(); }
  std::u16string_view view() const { return text_.view(); }
  // The shared text itself, for a platform object that keeps it without copying.
  const tnbase::SharedText& text() const { return text_; }
  const char16_t* c_str() const { return text_.data(); }
  std::size_t length() const { return text_.size(); }
  bool empty() const { return text_.empty(); }
  void clear() { text_ = tnbase::SharedText(); }

  bool operator==(const CefString& o) const { return text_ == o.text_; }
  bool operator!=(const CefString& o) const { return text_ != o.text_; }
  bool operator<(const CefString& o) const { return text_ < o.text_; }

 private:
  tnbase::SharedText text_;
};
