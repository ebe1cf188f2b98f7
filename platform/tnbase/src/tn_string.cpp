#include "tnbase/tn_string.h"

#include <QChar>
#include <algorithm>
#include <cstring>

#include "tnbase/utf.h"

namespace {

struct Range {
  const char16_t* data;
  int32_t size;
};

// Clamps (start, length) to the text; a negative length runs to the end.
Range Clamp(const std::u16string& text, int32_t start, int32_t length) {
  const int32_t size = static_cast<int32_t>(text.size());
  start = std::clamp(start, 0, size);
  const int32_t rest = size - start;
  length = length < 0 ? rest : std::min(length, rest);
  return {text.data() + start, length};
}

char16_t Fold(char16_t c) {
  if (c < 0x80) return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c;
  return QChar(c).toCaseFolded().unicode();
}

template <typename Map>
int CompareRanges(Range a, Range b, Map map) {
  const int32_t n = std::min(a.size, b.size);
  for (int32_t i = 0; i < n; ++i) {
    const char16_t x = map(a.data[i]);
    const char16_t y = map(b.data[i]);
    if (x != y) return x < y ? -1 : 1;
  }
  return a.size == b.size ? 0 : (a.size < b.size ? -1 : 1);
}

std::u16string FromUTF8(const char* text, int32_t length) {
  if (!text) return {};
  std::u16string out;
  tnbase::Utf8ToUtf16(text, length < 0 ? std::strlen(text) : static_cast<std::size_t>(length),
                      &out);
  return out;
}

}  // namespace

std::string TnString::ToUTF8() const {
  std::string out;
  tnbase::Utf16ToUtf8(text_.data(), text_.size(), &out);
  return out;
}

TnString* TnString::Clone() const { return new TnString(text_); }

void TnString::Release() {
  if (refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

int TnString::Compare(int32_t start, int32_t length, const TnString* other, int32_t otherStart,
                      int32_t otherLength) const {
  static const std::u16string kEmpty;
  return CompareRanges(Clamp(text_, start, length),
                       Clamp(other ? other->text_ : kEmpty, otherStart, otherLength),
                       [](char16_t c) { return c; });
}

int TnString::CompareIgnoreCase(int32_t start, int32_t length, const TnString* other,
                                int32_t otherStart, int32_t otherLength) const {
  static const std::u16string kEmpty;
  return CompareRanges(Clamp(text_, start, length),
                       Clamp(other ? other->text_ : kEmpty, otherStart, otherLength), Fold);
}

bool TnString::StartsWith(const TnString* prefix, bool ignoreCase) const {
  if (!prefix || prefix->GetLength() > GetLength()) return false;
  const int32_t n = prefix->GetLength();
  return (ignoreCase ? CompareIgnoreCase(0, n, prefix, 0, n) : Compare(0, n, prefix, 0, n)) == 0;
}

int32_t TnString::Find(const TnString* what, int32_t from) const {
  if (!what || from < 0 || from > GetLength()) return -1;
  const auto pos = text_.find(what->text_, static_cast<size_t>(from));
  return pos == std::u16string::npos ? -1 : static_cast<int32_t>(pos);
}

void TnString::TrimLineEnd() {
  if (!text_.empty() && text_.back() == u'\n') text_.pop_back();
  if (!text_.empty() && text_.back() == u'\r') text_.pop_back();
}

bool TnString::Equals(const char* utf8) const { return text_ == FromUTF8(utf8, -1); }

bool TnString::EqualsIgnoreCase(const char* utf8) const {
  // The names compared against are ASCII literals: they are folded byte by byte, unconverted.
  if (!utf8) utf8 = "";
  std::size_t i = 0;
  for (; utf8[i] && !(utf8[i] & 0x80); ++i) {
    if (i >= text_.size() || Fold(text_[i]) != Fold(static_cast<char16_t>(utf8[i]))) return false;
  }
  if (!utf8[i]) return i == text_.size();
  TnString other(FromUTF8(utf8, -1));
  return CompareIgnoreCase(0, -1, &other, 0, -1) == 0;
}

TnString* allocString() { return new TnString(std::u16string()); }

TnString* allocStringFromUTF8(const char* text, int32_t length) {
  return new TnString(FromUTF8(text, length));
}

TnString* allocStringFromWideChars(const char16_t* text, int32_t length) {
  if (!text) return new TnString(std::u16string());
  return new TnString(length < 0 ? std::u16string(text) : std::u16string(text, length));
}
