#include "tnbase/logger.h"

#include <cstdio>
#include <mutex>

namespace {

void DefaultSink(const tnbase::LogRecord& r) {
  if (r.level >= kTnLogError) {
    std::fprintf(stderr, "[%d] %s: %s\n", r.level, r.function.c_str(), r.message.c_str());
  }
}

std::mutex& SinkMutex() {
  static std::mutex m;
  return m;
}

tnbase::LogSink& Sink() {
  static tnbase::LogSink sink = DefaultSink;
  return sink;
}

}  // namespace

extern "C" void logger_write(int level, const char* source, int line, const char* function,
                             const char* message, std::size_t length) {
  tnbase::LogRecord record;
  record.level = level;
  record.source = source ? source : "";
  record.line = line;
  record.function = function ? function : "";
  if (message) record.message.assign(message, length);
  tnbase::LogSink sink;
  {
    std::lock_guard<std::mutex> lock(SinkMutex());
    sink = Sink();
  }
  // The sink runs outside the lock, so that a sink may itself log or swap sinks.
  sink(record);
}

namespace tnbase {

LogSink SetLogSink(LogSink sink) {
  std::lock_guard<std::mutex> lock(SinkMutex());
  LogSink previous = std::move(Sink());
  Sink() = sink ? std::move(sink) : LogSink(DefaultSink);
  return previous;
}

}  // namespace tnbase
