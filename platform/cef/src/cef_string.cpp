#include "cef/cef_string.h"

#include <QString>

bool cef_string_utf8_to_utf16(const char* src, std::size_t src_len, std::u16string* out) {
  if (!out) return false;
  if (!src || src_len == 0) {
    out->clear();
    return true;
  }
  const QString q = QString::fromUtf8(src, static_cast<int>(src_len));
  out->assign(reinterpret_cast<const char16_t*>(q.utf16()), static_cast<std::size_t>(q.size()));
  return true;
}

bool cef_string_utf16_to_utf8(const char16_t* src, std::size_t src_len, std::string* out) {
  if (!out) return false;
  if (!src || src_len == 0) {
    out->clear();
    return true;
  }
  const QByteArray b = QString::fromUtf16(src, static_cast<int>(src_len)).toUtf8();
  out->assign(b.constData(), static_cast<std::size_t>(b.size()));
  return true;
}
