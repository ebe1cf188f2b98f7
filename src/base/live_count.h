#pragma once

// Counts the live objects of a class, so that tests can see that cycles of creating and
// closing views give everything back.

#include <atomic>

namespace tnwebui {

template <typename T>
class LiveCounted {
 public:
  static int Live() { return live_.load(); }

 protected:
  LiveCounted() { ++live_; }
  LiveCounted(const LiveCounted&) { ++live_; }
  ~LiveCounted() { --live_; }

 private:
  static inline std::atomic<int> live_{0};
};

}  // namespace tnwebui
