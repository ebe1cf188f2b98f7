#pragma once

// The module's log lines. Every line goes through TnBase's logger_write with the function name
// in the form "Class::Operation" and the source in the form "..\..\src\folder\file"; each
// source file names itself in a `kLogSource` constant.

#include <string_view>

#include "tnbase/logger.h"

namespace tnwebui {

void LogFormat(int level, const char* source, int line, const char* function, const char* format,
               ...) __attribute__((format(printf, 5, 6)));
void LogText(int level, const char* source, int line, const char* function, std::string_view text);

}  // namespace tnwebui

#define TN_LOG(level, function, ...) \
  ::tnwebui::LogFormat(level, kLogSource, __LINE__, function, __VA_ARGS__)
#define TN_LOG_TEXT(level, function, text) \
  ::tnwebui::LogText(level, kLogSource, __LINE__, function, text)
