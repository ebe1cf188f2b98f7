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
Range Clamp(std::u16string_view text, int32_t start, int32_t length) {
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

tnbase::SharedText FromUTF8(const char* text, int32_t length) {
  if (!text) return {};
  return tnbase::SharedText::FromUtf8(
      text, length < 0 ? std::strlen(text) : static_cast<std::size_t>(length));
}

}  // namespace

std::string TnString::ToUTF8() const { return text_.ToUtf8(); }

TnString* TnString::Clone() const { return new TnString(text_); }

void TnString::Release() {
  if (refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

int TnString::Compare(int32_t start, int32_t length, const TnString* other, int32_t otherStart,
                      int32_t otherLength) const {
  return CompareRanges(Clamp(text_.view(), start, length),
                       Clamp(other ? other->text_.view() : u"", otherStart, otherLength),
                       [](char16_t c) { return c; });
}

int TnString::CompareIgnoreCase(int32_t start, int32_t length, const TnString* other,
                                int32_t otherStart, int32_t otherLength) const {
  return CompareRanges(Clamp(text_.view(), start, length),
                       Clamp(other ? other->text_.view() : u"", otherStart, otherLength), Fold);
}

bool TnString::StartsWith(const TnString* prefix, bool ignoreCase) const {
  if (!prefix || prefix->GetLength() > GetLength()) return false;
  const int32_t n = prefix->GetLength();
  return (ignoreCase ? CompareIgnoreCase(0, n, prefix, 0, n) : Compare(0, n, prefix, 0, n)) == 0;
}

int32_t TnString::Find(const TnString* what, int32_t from) const {
  if (!what || from < 0 || from > GetLength()) return -1;
  const auto pos = text_.view().find(what->text_.view(), static_cast<size_t>(from));
  return pos == std::u16string::npos ? -1 : static_cast<int32_t>(pos);
}

void TnString::TrimLineEnd() {
  // The text may be shared: a shorter one is made, and only when there is something to trim.
  std::u16string_view text = text_.view();
  if (!text.empty() && text.back() == u'\n') text.remove_suffix(1);
  if (!text.empty() && text.back() == u'\r') text.remove_suffix(1);
  if (text.size() != text_.size()) text_ = tnbase::SharedText(text);
}

bool TnString::Equals(const char* utf8) const { return text_ == FromUTF8(utf8, -1); }

bool TnString::EqualsIgnoreCase(const char* utf8) const {
  // The names compared against are ASCII literals: they are folded byte by byte, unconverted.
  if (!utf8) utf8 = "";
  std::size_t i = 0;
  for (; utf8[i] && !(utf8[i] & 0x80); ++i) {
    if (i >= text_.size() || Fold(text_.data()[i]) != Fold(static_cast<char16_t>(utf8[i])))
      return false;
  }
  if (!utf8[i]) return i == text_.size();
  TnString other(FromUTF8(utf8, -1));
  return CompareIgnoreCase(0, -1, &other, 0, -1) == 0;
}

TnString* allocString() { return new TnString(tnbase::SharedText()); }

TnString* allocStringFromUTF8(const char* text, int32_t length) {
  return new TnString(FromUTF8(text, length));
}

TnString* allocStringFromWideChars(const char16_t* text, int32_t length) {
  if (!text) return new TnString(tnbase::SharedText());
  return new TnString(tnbase::SharedText(
      text, length < 0 ? std::char_traits<char16_t>::length(text) : static_cast<size_t>(length)));
}

TnString* allocStringFromText(const tnbase::SharedText& text) { return new TnString(text); }
