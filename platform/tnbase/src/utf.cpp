#include "tnbase/utf.h"

#include <QString>
#include <algorithm>

namespace tnbase {

void Utf8ToUtf16(const char* text, std::size_t size, std::u16string* out) {
  if (!text || size == 0) {
    out->clear();
    return;
  }
  if (std::all_of(text, text + size, [](char c) { return (c & 0x80) == 0; })) {
    out->assign(text, text + size);
    return;
  }
  const QString q = QString::fromUtf8(text, static_cast<int>(size));
  out->assign(reinterpret_cast<const char16_t*>(q.utf16()), static_cast<std::size_t>(q.size()));
}

void Utf16ToUtf8(const char16_t* text, std::size_t size, std::string* out) {
  if (!text || size == 0) {
    out->clear();
    return;
  }
  if (std::all_of(text, text + size, [](char16_t c) { return c < 0x80; })) {
    out->resize(size);
    std::transform(text, text + size, out->begin(),
                   [](char16_t c) { return static_cast<char>(c); });
    return;
  }
  const QByteArray b =
      QString::fromRawData(reinterpret_cast<const QChar*>(text), static_cast<int>(size)).toUtf8();
  out->assign(b.constData(), static_cast<std::size_t>(b.size()));
}

}  // namespace tnbase
