#include "tnbase/shared_text.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "tnbase/utf.h"

namespace tnbase {

SharedText::Block* SharedText::Allocate(std::size_t size) {
  const std::size_t bytes = offsetof(Block, text) + (size + 1) * sizeof(char16_t);
  void* memory = std::malloc(bytes);
  if (!memory) throw std::bad_alloc();
  Block* block = static_cast<Block*>(memory);
  new (&block->refs) std::atomic<int>(1);
  block->size = size;
  block->text[size] = u'\0';
  return block;
}

void SharedText::Free(Block* block) {
  block->refs.~atomic<int>();
  std::free(block);
}

SharedText::SharedText(const char16_t* text, std::size_t size) {
  if (!text || size == 0) return;
  block_ = Allocate(size);
  std::memcpy(block_->text, text, size * sizeof(char16_t));
}

SharedText SharedText::FromUtf8(const char* text, std::size_t size) {
  SharedText out;
  if (!text || size == 0) return out;
  std::size_t ascii = 0;
  while (ascii < size && !(text[ascii] & 0x80)) ++ascii;
  if (ascii == size) {
    out.block_ = Allocate(size);
    for (std::size_t i = 0; i < size; ++i) out.block_->text[i] = static_cast<char16_t>(text[i]);
    return out;
  }
  std::u16string wide;
  Utf8ToUtf16(text, size, &wide);
  return SharedText(wide);
}

std::string SharedText::ToUtf8() const {
  std::string out;
  Utf16ToUtf8(data(), size(), &out);
  return out;
}

}  // namespace tnbase
