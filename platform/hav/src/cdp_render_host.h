#pragma once

#include <mutex>

#include "hav/cdp_engine.h"

namespace xhav::cdp {

// The render side's host of the Chromium engine: it keeps the render notify object.
class Engine::RenderHostImpl final : public RenderHost {
 public:
  void RegisterExtension(const char*, const char*, CefRefPtr<CefV8Handler>) override {}
  void SetRenderNotify(RenderNotify* notify) override {
    std::lock_guard<std::mutex> lock(mutex_);
    notify_ = notify;
  }
  RenderNotify* notify() {
    std::lock_guard<std::mutex> lock(mutex_);
    return notify_;
  }

 private:
  std::mutex mutex_;
  RenderNotify* notify_ = nullptr;
};

}  // namespace xhav::cdp
