#include "tnbase/logger.h"

#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

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

// The sink in use; null while the default one is. Lines that the default sink would drop are
// dropped before anything is copied.
std::shared_ptr<const tnbase::LogSink>& Sink() {
  static std::shared_ptr<const tnbase::LogSink> sink;
  return sink;
}

// The lowest level that is written; read without the lock on every line.
std::atomic<int> g_minLevel{kTnLogError};

}  // namespace

extern "C" bool logger_enabled(int level) {
  return level >= g_minLevel.load(std::memory_order_relaxed);
}

extern "C" void logger_write(int level, const char* source, int line, const char* function,
                             const char* message, std::size_t length) {
  if (!logger_enabled(level)) return;
  std::shared_ptr<const tnbase::LogSink> sink;
  {
    std::lock_guard<std::mutex> lock(SinkMutex());
    sink = Sink();
  }
  if (!sink && level < kTnLogError) return;
  tnbase::LogRecord record;
  record.level = level;
  record.source = source ? source : "";
  record.line = line;
  record.function = function ? function : "";
  if (message) record.message.assign(message, length);
  // The sink runs outside the lock, so that a sink may itself log or swap sinks.
  if (sink) {
    (*sink)(record);
  } else {
    DefaultSink(record);
  }
}

namespace tnbase {

LogSink SetLogSink(LogSink sink, int minLevel) {
  using Plain = void (*)(const LogRecord&);
  const Plain* plain = sink ? sink.target<Plain>() : nullptr;
  const bool isDefault = !sink || (plain && *plain == DefaultSink);
  auto next = isDefault ? nullptr : std::make_shared<const LogSink>(std::move(sink));
  std::lock_guard<std::mutex> lock(SinkMutex());
  g_minLevel.store(isDefault ? static_cast<int>(kTnLogError) : minLevel);
  const auto previous = std::exchange(Sink(), std::move(next));
  return previous ? *previous : LogSink(DefaultSink);
}

}  // namespace tnbase
