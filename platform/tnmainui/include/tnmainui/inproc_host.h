#pragma once

// The client's host object, in process: what tests and the demo give to CreateTavrinModule.

#include <map>
#include <mutex>
#include <string>

#include "hav/hav.h"
#include "tnwebui/module.h"
#include "tnwebui/services.h"

namespace tnmainui {

// The client's texts, from the table file of this library.
class __attribute__((visibility("default"))) StringTable final : public StringTableService {
 public:
  bool LoadString(const char* key, char* buffer, uint32_t size) override;
};

// The company's web domain of a host that sets none; an engine that hands that domain's
// addresses to the client is given the same text.
inline constexpr char kDefaultWebDomain[] = "intra.example.com";

class __attribute__((visibility("default"))) ClientInfo final : public ClientInfoService {
 public:
  const char* GetDeviceId() override { return deviceId.c_str(); }
  const char* GetWebDomain() override { return webDomain.c_str(); }
  std::string deviceId = "device-0001";
  std::string webDomain = kDefaultWebDomain;
};

class __attribute__((visibility("default"))) AccessOverride final : public AccessOverrideService {
 public:
  void Reserved1() override {}
  void Reserved2() override {}
  void Reserved3() override {}
  void Reserved4() override {}
  bool AllowAnyPage() override { return allowAnyPage; }
  bool allowAnyPage = false;
};

// Answers the services table with the objects above; tests may replace or remove any.
class __attribute__((visibility("default"))) InProcessHost final : public ModuleHost {
 public:
  InProcessHost(xhav::Core* core, xhav::RenderHost* renderHost);
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

  StringTable strings;
  ClientInfo clientInfo;
  AccessOverride accessOverride;

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
