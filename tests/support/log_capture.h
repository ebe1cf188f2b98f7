#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "tnbase/logger.h"

// Captures the log lines written while it lives.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();

  std::vector<tnbase::LogRecord> records() const;
  // How many lines carry exactly this message (and level and function, when given).
  int Count(const std::string& message, int level = 0, const std::string& function = "") const;
  // How many lines start with `prefix`.
  int CountPrefix(const std::string& prefix) const;
  void Clear();

 private:
  mutable std::mutex mutex_;
  std::vector<tnbase::LogRecord> records_;
  tnbase::LogSink previous_;
};
