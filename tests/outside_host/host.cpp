// The smallest host: starts the module, takes its factory and drives a view's settings, the
// way the client's host process does. Exits non-zero at the first step that goes wrong.

#include <cstdio>
#include <string>

#include "tnwebui/business_service.h"
#include "tnwebui/tnwebui.h"

namespace {

class Host final : public ModuleHost {
 public:
  void* QueryService(const GUID&) override { return nullptr; }
  void Reserved1() override {}
  xhav::Core* GetHavCore() override { return nullptr; }
  xhav::RenderHost* GetRenderHost() override { return nullptr; }
};

int Fail(const char* step) {
  std::printf("outside host: %s failed\n", step);
  return 1;
}

}  // namespace

int main() {
  Host host;
  TavrinModule* module = CreateTavrinModule(&host);
  if (!module || module->GetHost() != &host) return Fail("CreateTavrinModule");
  if (CreateTavrinModule(nullptr) != module) return Fail("a second CreateTavrinModule");
  module->OnModuleLoaded(0);
  module->OnProcessInited(0);

  ITnWebUI* factory = nullptr;
  if (CreateInterface(&IID_ITnWebUI, reinterpret_cast<void**>(&factory)) != S_OK || !factory)
    return Fail("CreateInterface");
  IUnknown* unknown = nullptr;
  if (factory->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown)) != S_OK)
    return Fail("QueryInterface");
  unknown->Release();

  IBrowserViewSetting* settings = nullptr;
  if (factory->CreateBrowserViewSetting(&settings) != S_OK || !settings)
    return Fail("CreateBrowserViewSetting");
  settings->SetName(u"outside");
  settings->SetInitData("{\"from\":\"outside\"}");
  const bool kept = std::u16string(settings->GetName()) == u"outside" &&
                    std::string(settings->GetInitData()) == "{\"from\":\"outside\"}";
  settings->Release();
  factory->Release();
  if (!kept) return Fail("the settings' round trip");
  std::printf("outside host: module started, factory and settings work\n");
  return 0;
}
