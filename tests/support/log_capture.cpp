#include "log_capture.h"

#include <cstdlib>

namespace {

// What the client keeps in its application data, tests keep under the build folder, never in
// the user's own (a test that wants a folder of its own sets APPDATA itself).
const bool kAppDataInBuild = (setenv("APPDATA", TNWEBUI_TEST_APPDATA, 0), true);

}  // namespace

LogCapture::LogCapture() {
  previous_ = tnbase::SetLogSink([this](const tnbase::LogRecord& r) {
    std::lock_guard<std::mutex> lock(mutex_);
    records_.push_back(r);
  });
}

LogCapture::~LogCapture() { tnbase::SetLogSink(previous_); }

std::vector<tnbase::LogRecord> LogCapture::records() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return records_;
}

int LogCapture::Count(const std::string& message, int level, const std::string& function) const {
  std::lock_guard<std::mutex> lock(mutex_);
  int n = 0;
  for (const auto& r : records_) {
    if (r.message == message && (level == 0 || r.level == level) &&
        (function.empty() || r.function == function)) {
      ++n;
    }
  }
  return n;
}

int LogCapture::CountPrefix(const std::string& prefix) const {
  std::lock_guard<std::mutex> lock(mutex_);
  int n = 0;
  for (const auto& r : records_) n += r.message.rfind(prefix, 0) == 0;
  return n;
}

void LogCapture::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  decltype(records_)().swap(records_);  // and its room: long runs measure the heap
}
