#include "base/tn_log.h"

#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

namespace tnwebui {

namespace {

// True when every conversion of `format` is "%s" or "%d".
bool OnlyTextAndNumbers(const char* format) {
  for (const char* p = std::strchr(format, '%'); p; p = std::strchr(p + 2, '%')) {
    if (p[1] != 's' && p[1] != 'd') return false;
  }
  return true;
}

// A line's text: on the stack up to 512 bytes, on the heap beyond.
class LineText {
 public:
  void Append(const char* text, std::size_t length) {
    if (heap_.empty() && size_ + length <= sizeof stack_) {
      std::memcpy(stack_ + size_, text, length);
      size_ += length;
      return;
    }
    if (heap_.empty()) heap_.assign(stack_, size_);
    heap_.append(text, length);
  }
  const char* data() const { return heap_.empty() ? stack_ : heap_.data(); }
  std::size_t size() const { return heap_.empty() ? size_ : heap_.size(); }

 private:
  char stack_[512];
  std::size_t size_ = 0;
  std::string heap_;
};

// Fills in a format of "%s" and "%d" conversions only: the hot paths' lines, for which
// vsnprintf's general machinery costs more than the rest of the call they log.
void FillTextAndNumbers(LineText* line, const char* format, va_list args) {
  const char* p = format;
  for (const char* mark = std::strchr(p, '%'); mark; mark = std::strchr(p, '%')) {
    line->Append(p, static_cast<std::size_t>(mark - p));
    if (mark[1] == 's') {
      const char* text = va_arg(args, const char*);
      if (!text) text = "(null)";
      line->Append(text, std::strlen(text));
    } else {
      char digits[16];
      const auto end = std::to_chars(digits, digits + sizeof digits, va_arg(args, int)).ptr;
      line->Append(digits, static_cast<std::size_t>(end - digits));
    }
    p = mark + 2;
  }
  line->Append(p, std::strlen(p));
}

}  // namespace

void LogFormat(int level, const char* source, int line, const char* function, const char* format,
               ...) {
  if (!logger_enabled(level)) return;  // nothing is formatted for a line that is dropped
  // Most lines have nothing to fill in: they go as they are.
  if (!std::strchr(format, '%')) {
    logger_write(level, source, line, function, format, std::strlen(format));
    return;
  }
  va_list args;
  va_start(args, format);
  if (OnlyTextAndNumbers(format)) {
    LineText text;
    FillTextAndNumbers(&text, format, args);
    va_end(args);
    logger_write(level, source, line, function, text.data(), text.size());
    return;
  }
  char small[512];
  va_list copy;
  va_copy(copy, args);
  const int n = std::vsnprintf(small, sizeof small, format, args);
  va_end(args);
  if (n < 0) {
    va_end(copy);
    return;
  }
  if (static_cast<size_t>(n) < sizeof small) {
    va_end(copy);
    logger_write(level, source, line, function, small, static_cast<size_t>(n));
    return;
  }
  std::string big(static_cast<size_t>(n) + 1, '\0');
  std::vsnprintf(big.data(), big.size(), format, copy);
  va_end(copy);
  logger_write(level, source, line, function, big.data(), static_cast<size_t>(n));
}

void LogText(int level, const char* source, int line, const char* function, std::string_view text) {
  if (!logger_enabled(level)) return;
  logger_write(level, source, line, function, text.data(), text.size());
}

}  // namespace tnwebui
