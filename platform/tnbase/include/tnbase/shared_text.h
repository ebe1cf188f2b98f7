#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>

#include "tnbase/export.h"

namespace tnbase {

// Immutable UTF-16 text shared between its copies, as the platform's strings share theirs: one
// allocation holds the reference count, the length and the NUL-terminated units, and copying
// the text takes a reference. The empty text allocates nothing. Copies may live on any thread.
class TNBASE_API SharedText {
 public:
  SharedText() = default;
  SharedText(const char16_t* text, std::size_t size);
  explicit SharedText(std::u16string_view text) : SharedText(text.data(), text.size()) {}
  // From UTF-8, replacing what is not valid; ASCII is widened straight into the text.
  static SharedText FromUtf8(const char* text, std::size_t size);

  SharedText(const SharedText& o) noexcept : block_(o.block_) {
    if (block_) block_->refs.fetch_add(1, std::memory_order_relaxed);
  }
  SharedText(SharedText&& o) noexcept : block_(o.block_) { o.block_ = nullptr; }
  SharedText& operator=(const SharedText& o) noexcept {
    SharedText(o).swap(*this);
    return *this;
  }
  SharedText& operator=(SharedText&& o) noexcept {
    SharedText(std::move(o)).swap(*this);
    return *this;
  }
  ~SharedText() {
    if (block_ && block_->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) Free(block_);
  }
  void swap(SharedText& o) noexcept { std::swap(block_, o.block_); }

  // Never null; the units end with a NUL.
  const char16_t* data() const { return block_ ? block_->text : u""; }
  std::size_t size() const { return block_ ? block_->size : 0; }
  bool empty() const { return size() == 0; }
  std::u16string_view view() const { return {data(), size()}; }
  std::u16string str() const { return std::u16string(view()); }
  std::string ToUtf8() const;
  // Whether two texts are the same allocation (and so the same text).
  bool SharesWith(const SharedText& o) const { return block_ && block_ == o.block_; }

 private:
  struct Block {
    std::atomic<int> refs;
    std::size_t size;
    char16_t text[1];  // size units and a NUL
  };
  static Block* Allocate(std::size_t size);
  static void Free(Block* block);

  Block* block_ = nullptr;
};

inline bool operator==(const SharedText& a, const SharedText& b) {
  return a.SharesWith(b) || a.view() == b.view();
}
inline bool operator!=(const SharedText& a, const SharedText& b) { return !(a == b); }
inline bool operator<(const SharedText& a, const SharedText& b) { return a.view() < b.view(); }

}  // namespace tnbase
