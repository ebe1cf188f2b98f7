#include "cef/cef_string.h"

#include "tnbase/utf.h"

bool cef_string_utf8_to_utf16(const char* src, std::size_t src_len, std::u16string* out) {
  if (!out) return false;
  tnbase::Utf8ToUtf16(src, src_len, out);
  return true;
}

bool cef_string_utf16_to_utf8(const char16_t* src, std::size_t src_len, std::string* out) {
  if (!out) return false;
  tnbase::Utf16ToUtf8(src, src_len, out);
  return true;
}
