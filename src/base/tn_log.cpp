#include "base/tn_log.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

namespace tnwebui {

void LogFormat(int level, const char* source, int line, const char* function, const char* format,
               ...) {
  // Most lines have nothing to fill in: they go as they are.
  if (!std::strchr(format, '%')) {
    logger_write(level, source, line, function, format, std::strlen(format));
    return;
  }
  char small[512];
  va_list args;
  va_start(args, format);
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
  logger_write(level, source, line, function, text.data(), text.size());
}

}  // namespace tnwebui
