#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "tnbase/export.h"

// Levels used by the client: 1 trace, 2 information, 4 error.
enum TnLogLevel : int { kTnLogTrace = 1, kTnLogInfo = 2, kTnLogError = 4 };

// Writes one log line. `message` is UTF-8 of `length` bytes (not necessarily NUL-terminated).
extern "C" TNBASE_API void logger_write(int level, const char* source, int line,
                                        const char* function, const char* message,
                                        std::size_t length);
// Whether a line of `level` is written at all: a caller that builds its line skips the work
// for a level that the sink drops.
extern "C" TNBASE_API bool logger_enabled(int level);

namespace tnbase {

struct LogRecord {
  int level = 0;
  std::string source;
  int line = 0;
  std::string function;
  std::string message;
};

using LogSink = std::function<void(const LogRecord&)>;

// Replaces the process-wide sink and returns the previous one. An empty sink restores the
// default, which prints errors (level 4) to stderr and drops the rest. Lines below `minLevel`
// never reach the sink: nothing of them is copied or formatted.
TNBASE_API LogSink SetLogSink(LogSink sink, int minLevel = kTnLogTrace);

}  // namespace tnbase
