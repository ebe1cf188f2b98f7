#pragma once

#include <mutex>
#include <regex>
#include <string>
#include <vector>

#include "hav/cdp_engine.h"

namespace xhav::cdp {

// The render side's host of the Chromium engine: it keeps the render notify object and the
// script extensions, which every document runs at its start. An extension's
// `native function Name();` becomes a function that calls the extension's handler.
class Engine::RenderHostImpl final : public RenderHost {
 public:
  struct Extension {
    std::string script;  // as the page runs it
    CefRefPtr<CefV8Handler> handler;
  };

  void RegisterExtension(const char*, const char* script,
                         CefRefPtr<CefV8Handler> handler) override {
    static const std::regex native(R"(native function (\w+)\(\);)");
    const std::string page =
        std::regex_replace(script ? script : "", native,
                           "function $1() { return window.__tnpcShim ? "
                           "window.__tnpcShim.native('$1', arguments) : undefined; }");
    std::lock_guard<std::mutex> lock(mutex_);
    extensions_.push_back({page, handler});
  }
  std::vector<Extension> extensions() {
    std::lock_guard<std::mutex> lock(mutex_);
    return extensions_;
  }
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
  std::vector<Extension> extensions_;
};

}  // namespace xhav::cdp
