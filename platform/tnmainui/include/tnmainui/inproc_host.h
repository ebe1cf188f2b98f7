#pragma once

// The client's host object, in process: what tests and the demo give to CreateTavrinModule.

#include <map>
#include <mutex>

#include "hav/hav.h"
#include "tnwebui/module.h"

namespace tnmainui {

class __attribute__((visibility("default"))) InProcessHost final : public ModuleHost {
 public:
  InProcessHost(xhav::Core* core, xhav::RenderHost* renderHost)
      : core_(core), renderHost_(renderHost) {}
  virtual ~InProcessHost() = default;

  void* QueryService(const GUID& id) override;
  void Reserved1() override {}
  xhav::Core* GetHavCore() override { return core_; }
  xhav::RenderHost* GetRenderHost() override { return renderHost_; }

  // Points the host at another engine (a test that plays both process types).
  void SetHav(xhav::Core* core, xhav::RenderHost* renderHost) {
    core_ = core;
    renderHost_ = renderHost;
  }
  // Makes `service` the answer to `id` (null removes it).
  void SetService(const GUID& id, void* service);

 private:
  struct Less {
    bool operator()(const GUID& a, const GUID& b) const {
      return std::memcmp(&a, &b, sizeof a) < 0;
    }
  };
  xhav::Core* core_;
  xhav::RenderHost* renderHost_;
  std::mutex mutex_;
  std::map<GUID, void*, Less> services_;
};

}  // namespace tnmainui
