#pragma once

// The one module object of a process, and the rest of the library's way back to the host.

#include <memory>
#include <string>

#include "light/tavrin_browser_handler.h"
#include "render/render_process.h"
#include "tnwebui/module.h"

namespace tnwebui {

class TnBrowserFactory;

class TnWebUIModule final : public TavrinModule {
 public:
  explicit TnWebUIModule(ModuleHost* host) : host_(host) {}
  // Nothing in the library calls this: the module lives until the process ends.
  ~TnWebUIModule();
  TnWebUIModule(const TnWebUIModule&) = delete;
  TnWebUIModule& operator=(const TnWebUIModule&) = delete;

  ModuleHost* GetHost() override { return host_; }
  void Reserved2() override {}
  void Reserved3() override {}
  void OnModuleLoaded(uint32_t value) override;
  void OnProcessInited(uint32_t value) override;
  void Reserved6() override {}

  // The factory, made on first request with one reference that stays with the module; null
  // when it can't be allocated.
  TnBrowserFactory* GetOrCreateFactory();
  TnBrowserFactory* factory() const { return factory_; }
  RenderProcess* render_process() const { return renderProcess_.get(); }
  BrowserFactoryHandlerCreator* handler_creator() const { return handlerCreator_; }

  // The application folder: the folder of the module's own file (a test may set another).
  std::string GetAppFolder() const;
  void SetAppFolder(std::string folder) { appFolder_ = std::move(folder); }

  // The process-wide module, or null before CreateTavrinModule.
  static TnWebUIModule* Get();
  static TnWebUIModule* GetOrCreate(ModuleHost* host);
  // Makes `module` the process-wide one and returns the former. For tests, which give each
  // case a module of its own; the library itself never replaces its module.
  static TnWebUIModule* Install(TnWebUIModule* module);

 private:
  TnBrowserFactory* factory_ = nullptr;
  ModuleHost* const host_;
  std::unique_ptr<RenderProcess> renderProcess_;
  // Owned until hav's registry calls its DeleteCreator, which clears this slot.
  BrowserFactoryHandlerCreator* handlerCreator_ = nullptr;
  std::string appFolder_;
};

// Shortcuts through the process-wide module.
ModuleHost* GetModuleHost();
// The client's text for a resource key ("IDS_STR_APP_NAME"), UTF-8; empty when unknown.
std::string LocalisedText(const char* key);
TnBrowserFactory* GetBrowserFactory();

}  // namespace tnwebui
