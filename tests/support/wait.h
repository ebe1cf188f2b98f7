#pragma once

// Waits for something that another thread does: up to five seconds, looking every 5 ms.

#include <chrono>
#include <functional>
#include <thread>

inline bool WaitUntil(const std::function<bool()>& done) {
  for (int i = 0; i < 1000; ++i) {
    if (done()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}
