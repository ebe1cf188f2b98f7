#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "tnbase/export.h"
#include "tnbase/shared_text.h"

// The reference-counted UTF-16 text object of TnBase. Objects come from the alloc functions
// with one reference and are given back through Release(). Positions and lengths count UTF-16
// code units; a negative length means "to the end". The text itself is shared: an object made
// from another platform string (allocStringFromText) or cloned takes its text without copying.
class TNBASE_API TnString {
 public:
  TnString(const TnString&) = delete;
  TnString& operator=(const TnString&) = delete;

  int32_t GetLength() const { return static_cast<int32_t>(text_.size()); }
  const char16_t* GetData() const { return text_.data(); }
  const tnbase::SharedText& Text() const { return text_; }
  std::string ToUTF8() const;
  TnString* Clone() const;

  void AddRef() { refs_.fetch_add(1, std::memory_order_relaxed); }
  void Release();

  // memcmp-like results over the two ranges, compared by code unit.
  int Compare(int32_t start, int32_t length, const TnString* other, int32_t otherStart,
              int32_t otherLength) const;
  // The same, with both sides case-folded first.
  int CompareIgnoreCase(int32_t start, int32_t length, const TnString* other, int32_t otherStart,
                        int32_t otherLength) const;
  bool StartsWith(const TnString* prefix, bool ignoreCase) const;
  // Position of the first occurrence of `what` at or after `from`, or -1.
  int32_t Find(const TnString* what, int32_t from) const;

  // Removes the line end ("\n" or "\r\n") at the end of the text, if there is one.
  void TrimLineEnd();

  // Convenience for callers holding plain UTF-8 text: whole-text comparisons.
  bool Equals(const char* utf8) const;
  bool EqualsIgnoreCase(const char* utf8) const;

 private:
  friend TNBASE_API TnString* allocString();
  friend TNBASE_API TnString* allocStringFromUTF8(const char* text, int32_t length);
  friend TNBASE_API TnString* allocStringFromWideChars(const char16_t* text, int32_t length);
  friend TNBASE_API TnString* allocStringFromText(const tnbase::SharedText& text);

  explicit TnString(tnbase::SharedText text) : text_(std::move(text)) {}
  ~TnString() = default;

  tnbase::SharedText text_;
  std::atomic<int32_t> refs_{1};
};

TNBASE_API TnString* allocString();
TNBASE_API TnString* allocStringFromUTF8(const char* text, int32_t length = -1);
TNBASE_API TnString* allocStringFromWideChars(const char16_t* text, int32_t length = -1);
TNBASE_API TnString* allocStringFromText(const tnbase::SharedText& text);

namespace tnbase {

// Owns one reference of a TnString and releases it at the end of its scope.
class TnStringPtr {
 public:
  TnStringPtr() = default;
  explicit TnStringPtr(TnString* adopt) : s_(adopt) {}
  TnStringPtr(const TnStringPtr& o) : s_(o.s_) {
    if (s_) s_->AddRef();
  }
  TnStringPtr(TnStringPtr&& o) noexcept : s_(o.s_) { o.s_ = nullptr; }
  TnStringPtr& operator=(TnStringPtr o) noexcept {
    std::swap(s_, o.s_);
    return *this;
  }
  ~TnStringPtr() {
    if (s_) s_->Release();
  }
  static TnStringPtr FromUTF8(const std::string& s) {
    return TnStringPtr(allocStringFromUTF8(s.data(), static_cast<int32_t>(s.size())));
  }
  TnString* get() const { return s_; }
  TnString* operator->() const { return s_; }
  explicit operator bool() const { return s_ != nullptr; }
  TnString* release() {
    TnString* s = s_;
    s_ = nullptr;
    return s;
  }

 private:
  TnString* s_ = nullptr;
};

}  // namespace tnbase
